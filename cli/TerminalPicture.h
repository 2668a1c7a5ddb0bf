#pragma once

#include "Base/Media/Bitmap.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace mv::cli {

/// How a terminal takes pictures.
enum class PictureProtocol { Kitty, ITerm, Sixel };
/// Their names on the command line, in their order.
inline constexpr std::array PictureProtocolNames { "kitty", "iterm", "sixel" };

std::optional<PictureProtocol> protocolNamed(std::string_view name);
/// What the terminal behind standard output can do: known ones by the environment, others by asking them.
std::optional<PictureProtocol> terminalProtocol();

/// The bytes that make a terminal show the picture.
std::string terminalPicture(const Bitmap& bitmap, PictureProtocol protocol);

} // namespace mv::cli
