#include "service/image/ExifWalk.h"

#include "Base/Core/Text.h"
#include "system/DateText.h"

#include <algorithm>
#include <array>
#include <exception>
#include <libexif/exif-loader.h>

namespace mv {

namespace {

using LoaderHandle = std::unique_ptr<ExifLoader, CloseWith<exif_loader_unref>>;

// A block lies in one of the segments before the first scan. Even a picture that carries megabytes of colour
// profiles and maker data there stays far below this; a file of fill bytes without end stops here.
constexpr std::uint64_t MaxExifSearchBytes = 64u << 20;
constexpr std::size_t ReadBytes = 64u << 10;
// The portions in which the library itself reads a file; its recognition of a file's kind looks at the first one.
constexpr std::size_t PortionBytes = 1024;
// The longest text of one value that is given out, its final zero included.
constexpr std::size_t ValueTextBytes = 1024;

/// Feeds the loader; false when it wants no more.
bool feed(ExifLoader& loader, std::span<std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        std::size_t count = std::min(bytes.size(), PortionBytes);
        if (!exif_loader_write(&loader, bytes.data(), static_cast<unsigned>(count)))
            return false;
        bytes = bytes.subspan(count);
    }
    return true;
}

struct Walk {
    const std::function<void(ExifEntry*)>& visit;
    std::exception_ptr failure;
};

extern "C" void visitEntry(ExifEntry* entry, void* user)
{
    auto& walk = *static_cast<Walk*>(user);
    if (walk.failure)
        return;
    try {
        walk.visit(entry);
    } catch (...) {
        // An exception must not cross the library's frames: it leaves after the walk.
        walk.failure = std::current_exception();
    }
}

extern "C" void visitContent(ExifContent* content, void* user)
{
    exif_content_foreach_entry(content, visitEntry, user);
}

} // namespace

ExifDataHandle exifDataOf(const Result<SharedSource>& content)
{
    LoaderHandle loader(exif_loader_new());
    if (!content.ok() || !loader)
        return nullptr;
    Bytes buffer(ReadBytes);
    for (std::uint64_t offset = 0; offset < MaxExifSearchBytes; offset += ReadBytes) {
        auto got = (*content)->readAt(offset, buffer);
        if (!got.ok() || *got == 0 || !feed(*loader, std::span(buffer).first(*got)))
            break;
    }
    return ExifDataHandle(exif_loader_get_data(loader.get()));
}

void forEachExifEntry(ExifData* data, const std::function<void(ExifEntry*)>& visit)
{
    Walk walk { visit, nullptr };
    exif_data_foreach_content(data, visitContent, &walk);
    if (walk.failure)
        std::rethrow_exception(walk.failure);
}

std::optional<std::string> exifDisplayText(ExifEntry& entry)
{
    std::array<char, ValueTextBytes> buffer {};
    exif_entry_get_value(&entry, buffer.data(), static_cast<unsigned>(buffer.size()));
    buffer.back() = 0;
    return utf8FromUtf8(bytesOf(buffer.data()));
}

ByteView exifRawBytes(const ExifEntry& entry) { return entry.data ? ByteView(entry.data, entry.size) : ByteView(); }

ExifDateText exifDate(const std::optional<std::string>& text)
{
    constexpr std::size_t DateCharacters = 19;
    if (!text || utf16FromUtf8(*text).size() != DateCharacters)
        return {};
    return { true, dateFromExifText(*text) };
}

} // namespace mv
