#pragma once

#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <filesystem>

namespace mv::test {

/// A script in the place of the worker. It notes what it was born as and goes on as the real one, ends as soon as it is
/// let, or says nothing.
class ScriptedWorker {
public:
    enum class End { Serves, Fails, Waits };

    explicit ScriptedWorker(End end)
    {
        m_folder.write("worker", "#!/bin/sh\necho $1 >>" + m_folder.file("births") + "\n" + restFor(end) + "\n");
        std::filesystem::permissions(program(), std::filesystem::perms::owner_all);
    }
    std::string program() const { return m_folder.file("worker"); }
    /// The kinds, a line each.
    std::string births() const
    {
        std::string file = m_folder.file("births");
        return std::filesystem::exists(file) ? std::string(charsOf(readFile(file))) : std::string();
    }
    void letFail() const { m_folder.write("go", ""); }

private:
    std::string restFor(End end) const
    {
        if (end == End::Serves)
            return "exec " + buildPath("bin/mivo-worker") + " \"$@\"";
        return "while [ ! -e " + m_folder.file("go") + " ]; do sleep 0.01; done; "
            + (end == End::Fails ? "exit 1" : "sleep 600");
    }

    ScratchFolder m_folder;
};

} // namespace mv::test
