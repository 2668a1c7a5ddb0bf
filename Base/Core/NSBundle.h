#pragma once

#include "Base/Core/Path.h"

namespace mv {

/// The main bundle: the folder that holds the executable, with its `Resources` folder. A resource may also lie beside
/// the executable.
class NSBundle {
public:
    static NSBundle mainBundle();

    /// The running executable, symbolic links resolved.
    const Path& executablePath() const { return m_executablePath; }
    /// The folder that holds the executable.
    Path bundlePath() const { return std::string(m_executablePath.directory()); }
    /// Where a resource lies; nil where there is none.
    Path pathForResource(std::string_view name, std::string_view type) const;

    /// Makes another executable path the main one, for tests of what lies beside it; nil undoes it.
    static void setMainExecutablePathForTesting(Path path);

private:
    explicit NSBundle(Path executablePath)
        : m_executablePath(std::move(executablePath))
    {
    }

    Path m_executablePath;
};

}
