#pragma once

#include <string>

namespace mv::test {

/// While it lives, this process has the rights of nobody in particular, also where tests run as root: modes of files
/// count. For one thread.
class OrdinaryUser {
public:
    OrdinaryUser();
    ~OrdinaryUser();
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

    /// Gives a file or folder to that user, before it becomes one. Changes nothing where tests do not run as root.
    static void give(const std::string& path);
};

} // namespace mv::test
