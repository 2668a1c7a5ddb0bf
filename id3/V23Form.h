#pragma once

#include "Base/Core/Bytes.h"
#include "id3/EncodedText.h"
#include "id3/FrameNames.h"
#include "id3/Id3v2Tag.h"

#include <optional>
#include <string>
#include <string_view>

namespace mv {

/// The v2.3 form of a frame's content, or nothing when it has that form already; empty when v2.3 has none. `id` is the
/// v2.3 name, `storedId` and `version` say what the content was written as. Text that had to be written anew is Latin-1
/// when it is ASCII, which readers know that know nothing else. Content too short for its kind comes back as it is.
std::optional<Bytes> v23Body(std::string_view id, std::string_view storedId, int version, ByteView content);

/// The same of a frame of a tag.
inline std::optional<Bytes> v23Body(const TagFrame& frame)
{
    return v23Body(frame.id, frame.storedId, frame.majorVersion, frame.body);
}

/// The MIME type of a picture that is not there: its address is, in place of the data.
inline constexpr std::string_view LinkedPictureType = "-->";

/// The parts of an APIC frame of any version, or of v2.2's PIC, whose three letters then are the type; views into the
/// body. Nothing when it ends before the picture type.
struct PictureParts {
    ByteView mimeType;
    std::uint8_t pictureType = 0;
    ByteView data;
};
std::optional<PictureParts> splitPicture(std::string_view storedId, ByteView body);

} // namespace mv
