#pragma once

#include <cstdint>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

namespace mv {

/// What the interface for new programs answers when it cannot do what it is asked.
enum class MediaErrorKind : std::uint8_t {
    NotFound = 1,
    AccessDenied, ///< may not be read, or not written
    NotRegular, ///< a folder, a FIFO, a device
    NotMedia, ///< no format that is read
    NoPicture, ///< nothing to make a thumbnail of
    Unsupported, ///< this format's tags are not written, this sound is not encoded
    Exists,
    TooLarge, ///< too many pixels, or more than a worker has memory for
    NoSpace,
    TimedOut,
    Crashed, ///< the reader of the file died; the file is left alone for a while
    Cancelled,
    Failed,
};
inline constexpr MediaErrorKind LastMediaErrorKind = MediaErrorKind::Failed;

/// The kind's name on the bus, behind MediaErrorPrefix.
constexpr std::string_view nameOf(MediaErrorKind kind)
{
    constexpr std::string_view Names[] { "", "NotFound", "AccessDenied", "NotRegular", "NotMedia", "NoPicture",
        "Unsupported", "Exists", "TooLarge", "NoSpace", "TimedOut", "Crashed", "Cancelled", "Failed" };
    static_assert(std::size(Names) == static_cast<std::size_t>(LastMediaErrorKind) + 1);
    return Names[static_cast<std::size_t>(kind)];
}
inline constexpr std::string_view MediaErrorPrefix = "Mivo.Media1.Error.";

/// A call that cannot be answered otherwise. The text is one sentence for a person, without the folder of any path.
class MediaError : public std::exception {
public:
    MediaError(MediaErrorKind kind, std::string text)
        : m_kind(kind)
        , m_text(std::move(text))
    {
    }
    MediaErrorKind kind() const { return m_kind; }
    const std::string& text() const { return m_text; }
    const char* what() const noexcept override { return m_text.c_str(); }

private:
    MediaErrorKind m_kind;
    std::string m_text;
};

} // namespace mv
