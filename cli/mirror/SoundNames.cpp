#include "cli/mirror/SoundNames.h"

#include "Base/Core/Path.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace mv::cli {

bool isSoundName(const std::string& name)
{
    constexpr std::array<std::string_view, 28> Endings { "aac", "adts", "aif", "aifc", "aiff", "ape", "au", "caf",
        "flac", "m4a", "m4b", "mka", "mp2", "mp3", "mpc", "oga", "ogg", "opus", "snd", "spx", "tak", "tta", "w64",
        "wav", "wave", "weba", "wma", "wv" };
    return std::ranges::find(Endings, toLowerAscii(Path(name).pathExtension())) != Endings.end();
}

} // namespace mv::cli
