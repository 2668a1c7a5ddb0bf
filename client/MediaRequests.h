#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"
#include "bus/RemoteObject.h"
#include "facts/Facts.h"
#include "facts/TagNames.h"
#include "service/include/EncodingWish.h"
#include "service/include/MediaErrors.h"
#include "service/include/ThumbnailWish.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace mv {

/// A picture that a file carries.
struct MediaPicture {
    std::uint32_t type = 0; ///< ID3's picture types: 3 is the front cover
    std::string mimeType; ///< may be empty
    std::string description;
    UniqueFd data; ///< a file in memory, at its start
};

struct MediaDescription {
    Facts facts;
    std::vector<MediaPicture> pictures; ///< those that were asked for, the front cover first
};

/// One for each path, in the paths' order.
using MediaDescriptions = std::vector<Result<Facts>>;

struct MediaThumbnail {
    UniqueFd picture; ///< a file in memory, at its start
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
    std::string mimeType;
};

/// A value that a tag is to have. Nothing removes the tag, and so do an empty text and an empty list. A descriptor (of
/// a cover) is borrowed until the request has been sent.
struct BorrowedFile {
    int descriptor = -1;
};
using TagValue = std::variant<std::monostate, std::string, std::vector<std::string>, std::int32_t, Bytes, BorrowedFile>;
/// Keys of facts that are written, or FrontCoverTag. What is not named stays.
using MediaTags = std::vector<std::pair<std::string, TagValue>>;
inline constexpr std::string_view FrontCoverTag = FrontCoverKey;

// The names that options have for them; nothing for another one.
std::optional<ThumbnailFormat> thumbnailFormatNamed(std::string_view name);
std::optional<SoundFormat> soundFormatNamed(std::string_view name);
std::optional<EncodingQuality> encodingQualityNamed(std::string_view name);
std::optional<ChannelMode> channelModeNamed(std::string_view name);

/// What is not set is as the service would have it.
struct MediaEncoding {
    std::optional<SoundFormat> format; ///< by the destination's ending
    std::optional<std::uint32_t> bitrate; ///< bit/s
    std::optional<bool> vbr;
    std::optional<EncodingQuality> quality;
    std::optional<bool> tags;
    std::optional<bool> replace;
    std::optional<std::uint32_t> cores;
    std::optional<ChannelMode> mode;
};

/// Where a job is.
struct MediaJobPlace {
    std::string owner; ///< the connection that has it
    std::string path;
};

/// A call of Mivo.Media1: what is sent, and how its answer is read. Sent by a Media1Client, any number of times.
template <class T> struct MediaRequest {
    const char* member;
    RemoteObject::Encode arguments;
    std::function<T(WireReader&)> read; ///< throws BusError at an answer that is none
};

/// More paths are refused.
inline constexpr std::size_t MaxDescribedPaths = 1000;

// The calls. Paths are whole. One that the bus cannot carry as it is (isWireText) fails its request with InvalidArgs
// before it is sent: no other file is meant. Descriptors are borrowed until the request has been sent.

MediaRequest<MediaDescription> describeRequest(std::string path, bool withPictures = false);
/// `name` may be empty.
MediaRequest<MediaDescription> describeFileRequest(int file, std::string name, bool withPictures = false);
MediaRequest<MediaDescriptions> describeManyRequest(std::vector<std::string> paths);
MediaRequest<MediaThumbnail> thumbnailRequest(std::string path, ThumbnailWish wish);
MediaRequest<MediaThumbnail> thumbnailFileRequest(int file, std::string name, ThumbnailWish wish);
/// The facts after the change.
MediaRequest<Facts> setTagsRequest(std::string path, MediaTags tags);
/// For Media1Client::encode, which makes a job of it.
MediaRequest<MediaJobPlace> encodeRequest(std::string source, std::string destination, MediaEncoding encoding);

/// Which of the interface's errors that is; nothing for an error of the bus (Error::name and Error::kind tell it).
std::optional<MediaErrorKind> mediaErrorKind(const Error& error);
/// Nobody publishes the interface, and the bus cannot start who does.
bool isMissingService(const Error& error);

} // namespace mv
