#include "libmivo/WholeName.h"

#include "client/WholePath.h"

#include <mivo/Error.h>
#include <utility>

namespace mivo {

std::string wholeName(const std::string& path)
{
    auto known = mv::wholePath(path);
    if (!known)
        throw Error(Error::Kind::InvalidArgument, known.error().text);
    return std::move(known).value();
}

} // namespace mivo
