#pragma once

#include <string>
#include <string_view>

namespace mv {

/// The bus name of a service name: an underscore stands before every dot-separated element that begins with a digit,
/// because bus names allow no such element.
std::string busNameForService(std::string_view serviceName);

/// The prefix of every interface: "Mivo." and the name of the protocol.
inline std::string interfaceForProtocol(std::string_view protocol) { return "Mivo." + std::string(protocol); }

} // namespace mv
