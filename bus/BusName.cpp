#include "bus/BusName.h"

namespace mv {

std::string busNameForService(std::string_view serviceName)
{
    std::string name;
    bool elementStarts = true;
    for (char c : serviceName) {
        if (elementStarts && c >= '0' && c <= '9')
            name += '_';
        name += c;
        elementStarts = c == '.';
    }
    return name;
}

} // namespace mv
