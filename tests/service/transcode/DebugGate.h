#pragma once

#include "Base/Core/NSBundle.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <string>
#include <vector>

namespace mv::test {

/// Opens the debug log gate at a level and takes the lines that come through.
class DebugGate {
public:
    explicit DebugGate(int level)
    {
        m_bundle.write("Resources/DEBUG.plist",
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict><key>DEBUG_LEVEL</key><integer>"
                + std::to_string(level) + "</integer></dict></plist>");
        NSBundle::setMainExecutablePathForTesting(m_bundle.file("mivo-mediad"));
    }
    ~DebugGate() { NSBundle::setMainExecutablePathForTesting(Path()); }
    DebugGate(const DebugGate&) = delete;
    DebugGate& operator=(const DebugGate&) = delete;

    /// The lines with their line numbers replaced by N: "[File.cpp:-[Class operation:]-(N)] message".
    std::vector<std::string> lines() const
    {
        std::vector<std::string> all = m_log.lines();
        for (std::string& line : all) {
            auto open = line.find("-(");
            auto close = line.find(")] ", open);
            if (open != std::string::npos && close != std::string::npos)
                line.replace(open + 2, close - open - 2, "N");
        }
        return all;
    }

private:
    ScratchFolder m_bundle;
    LogCapture m_log;
};

} // namespace mv::test
