#include "service/media1/EncodingRules.h"

#include "Base/Core/Path.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

struct Ending {
    std::string_view text;
    SoundFormat format;
};
constexpr std::array Endings {
    Ending { "mp3", SoundFormat::Mp3 },
    Ending { "m4a", SoundFormat::Aac },
    Ending { "m4b", SoundFormat::Aac },
    Ending { "mp4", SoundFormat::Aac },
    Ending { "aac", SoundFormat::Aac },
};

void checkFolder(const EncodingOrder& order)
{
    // With the slash, so that the root has a name, too.
    const std::string folder = order.destination.substr(0, order.destination.rfind('/') + 1);
    struct stat facts { };
    if (stat(folder.c_str(), &facts) != 0)
        throw encodingError(errno == EACCES ? MediaErrorKind::AccessDenied : MediaErrorKind::NotFound, order);
    if (faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
        throw encodingError(MediaErrorKind::AccessDenied, order);
}

bool isSameFile(const struct stat& destination, const std::string& source)
{
    struct stat facts { };
    return stat(source.c_str(), &facts) == 0 && facts.st_dev == destination.st_dev
        && facts.st_ino == destination.st_ino;
}

} // namespace

std::optional<SoundFormat> formatOfEnding(std::string_view path)
{
    const Path named { std::string(path) };
    for (const Ending& ending : Endings) {
        if (equalIgnoringAsciiCase(named.pathExtension(), ending.text))
            return ending.format;
    }
    return std::nullopt;
}

bool hasEncodableSound(const Facts& facts)
{
    // Their tags are read, but not their sound.
    static constexpr std::array<std::string_view, 4> Undecoded { "audio/x-ape", "audio/x-musepack", "audio/x-tta",
        "audio/x-wavpack" };
    const auto* type = facts.get<std::string>(fact::MimeType);
    if (type && std::ranges::find(Undecoded, *type) != Undecoded.end())
        return false;
    const auto* kind = facts.get<std::string>(fact::Kind);
    return kind && (*kind == "audio" || facts.contains(fact::AudioCodec));
}

void checkDestination(const EncodingOrder& order)
{
    const std::string name(Path(order.destination).lastPathComponent());
    if (order.destination.ends_with('/'))
        throw MediaError(MediaErrorKind::NotRegular, formatText("\"%s\" is a folder.", cleanedUtf8(name).c_str()));
    checkFolder(order);
    struct stat facts { };
    // A link that leads nowhere has the name, too.
    if (lstat(order.destination.c_str(), &facts) != 0)
        return;
    if (!order.replaces)
        throw encodingError(MediaErrorKind::Exists, order);
    if (stat(order.destination.c_str(), &facts) != 0)
        return;
    if (!S_ISREG(facts.st_mode))
        throw MediaError(
            MediaErrorKind::NotRegular, formatText("\"%s\" is no regular file.", cleanedUtf8(name).c_str()));
    if (isSameFile(facts, order.source))
        throw MediaError(MediaErrorKind::Exists, formatText("\"%s\" is the source itself.", cleanedUtf8(name).c_str()));
    if (access(order.destination.c_str(), W_OK) != 0)
        throw encodingError(MediaErrorKind::AccessDenied, order);
}

} // namespace mv
