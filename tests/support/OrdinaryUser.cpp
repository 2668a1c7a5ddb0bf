#include "tests/support/OrdinaryUser.h"

#include <stdexcept>
#include <unistd.h>

namespace mv::test {

namespace {

constexpr uid_t Nobody = 65534;

void become(uid_t user)
{
    if (seteuid(user) != 0)
        throw std::runtime_error("cannot change the effective user");
}

} // namespace

OrdinaryUser::OrdinaryUser()
{
    if (getuid() == 0)
        become(Nobody);
}

OrdinaryUser::~OrdinaryUser()
{
    if (getuid() == 0)
        become(0);
}

void OrdinaryUser::give(const std::string& path)
{
    if (getuid() == 0 && chown(path.c_str(), Nobody, static_cast<gid_t>(-1)) != 0)
        throw std::runtime_error("cannot give away " + path);
}

} // namespace mv::test
