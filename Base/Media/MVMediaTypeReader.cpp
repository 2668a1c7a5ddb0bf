#include "Base/Media/MVMediaTypeReader.h"

#include "Base/Core/DebugLog.h"

namespace mv {

namespace {

struct ExtensionRow {
    std::string_view extension;
    std::int32_t code;
};

constexpr ExtensionRow Extensions[] = {
    { "mov", MVMediaTypeMOV },
    { "avi", MVMediaTypeAVI },
    { "mp4", MVMediaTypeMP4 },
    { "m4v", MVMediaTypeM4V },
    { "3gp", MVMediaType3GP },
    { "mp3", MVMediaTypeMP3 },
    { "m4a", MVMediaTypeM4A },
    { "wav", MVMediaTypeWAV },
    { "aac", MVMediaTypeAAC },
    { "amr", MVMediaTypeAMR },
    { "ogg", MVMediaTypeOGG },
    { "flac", MVMediaTypeFLAC },
    { "flc", MVMediaTypeFLAC },
    { "mid", MVMediaTypeMID },
    { "imy", MVMediaTypeIMY },
    { "3ga", MVMediaType3GA },
    { "wma", MVMediaTypeWMA },
    { "jpg", MVMediaTypeJPG },
    { "jpeg", MVMediaTypeJPG },
    { "png", MVMediaTypePNG },
    { "gif", MVMediaTypeGIF },
    { "bmp", MVMediaTypeBMP },
};

struct NameRow {
    std::int32_t code;
    const char* name;
};

constexpr NameRow Names[] = {
    { MVMediaTypeMP3, "MP3" },
    { MVMediaTypeWMA, "WMA" },
    { MVMediaTypeOGG, "OGG" },
    { MVMediaTypeWAV, "WAV" },
    { MVMediaTypeM4A, "M4A" },
    { MVMediaTypeFLAC, "FLAC" },
    { MVMediaType3GA, "3GA" },
    { MVMediaTypeAMR, "AMR" },
    { MVMediaTypeMID, "MID" },
    { MVMediaTypeIMY, "IMY" },
    { MVMediaTypeAAC, "AAC" },
    { MVMediaTypeAVI, "AVI" },
    { MVMediaTypeM4V, "M4V" },
    { MVMediaTypeMOV, "MOV" },
    { MVMediaType3GP, "3GP" },
    { MVMediaTypeMP4, "MP4" },
    { MVMediaTypeJPG, "JPG" },
    { MVMediaTypeBMP, "BMP" },
    { MVMediaTypeGIF, "GIF" },
    { MVMediaTypePNG, "PNG" },
};

} // namespace

std::optional<std::int32_t> MVMediaTypeReader::knownType(const Path& path)
{
    // Deliberate: a missing path counts as equal to the first extension of the list, so it is a MOV.
    if (path.isNil())
        return MVMediaTypeMOV;
    std::string_view extension = path.pathExtension();
    for (const ExtensionRow& row : Extensions) {
        if (equalIgnoringAsciiCase(extension, row.extension))
            return row.code;
    }
    return std::nullopt;
}

std::int32_t MVMediaTypeReader::type(const Path& path)
{
    if (auto known = knownType(path))
        return *known;
    std::string_view extension = path.pathExtension();
    MV_DEBUG_LOG(DebugLevelError, "+[MVMediaTypeReader type:]", "Unknown extension: %.*s",
        static_cast<int>(extension.size()), extension.data());
    return MVMediaTypeUnknown;
}

const char* MVMediaTypeReader::typeName(std::int32_t code)
{
    for (const NameRow& row : Names) {
        if (row.code == code)
            return row.name;
    }
    return "UNKNOWN";
}

} // namespace mv
