#include "thumbnailer/ThumbnailCache.h"

#include "system/InputFile.h"
#include "system/OutputFile.h"
#include "system/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <md5.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

constexpr mode_t FolderMode = 0700;
constexpr mode_t FileMode = 0600;

constexpr std::string_view Uri = "Thumb::URI";
constexpr std::string_view MTime = "Thumb::MTime";
constexpr std::string_view FileSize = "Thumb::Size";
constexpr std::string_view MediaType = "Thumb::Mimetype";
constexpr std::string_view SourceWidth = "Thumb::Image::Width";
constexpr std::string_view SourceHeight = "Thumb::Image::Height";
constexpr std::string_view Length = "Thumb::Movie::Length";
constexpr std::string_view Software = "Software";
// Ours alone; the standard leaves names with this beginning to everybody.
constexpr std::string_view Reason = "X-Mivo::Reason";

constexpr const char* FailureFolder = "fail/mivo-" MIVO_VERSION;

/// Of the URI, as the name of a thumbnail.
std::string nameOf(std::string_view uri)
{
    char digits[MD5_DIGEST_STRING_LENGTH];
    ByteView bytes = bytesOf(uri);
    MD5Data(bytes.data(), bytes.size(), digits);
    return std::string(digits) + ".png";
}

/// The folder and what is missing above it.
Result<void> makeFolder(const std::string& folder)
{
    if (mkdir(folder.c_str(), FolderMode) == 0 || errno == EEXIST)
        return {};
    if (errno != ENOENT || folder.find('/', 1) == std::string::npos)
        return systemError(errno, folder);
    MV_TRY_VOID(makeFolder(std::string(Path(folder).directory())));
    if (mkdir(folder.c_str(), FolderMode) != 0 && errno != EEXIST)
        return systemError(errno, folder);
    return {};
}

/// Only ASCII may stand in the texts.
std::string plainText(std::string_view text)
{
    std::string plain(text);
    std::ranges::replace_if(
        plain, [](char c) { return c < ' ' || c > '~'; }, '?');
    return plain;
}

PngTexts textsOf(const ThumbnailSubject& subject)
{
    PngTexts texts { { std::string(Uri), subject.uri },
        { std::string(MTime), std::to_string(subject.modificationTime) },
        { std::string(FileSize), std::to_string(subject.size) }, { std::string(Software), "mivo " MIVO_VERSION } };
    if (!subject.type.empty())
        texts.emplace(MediaType, subject.type);
    return texts;
}

/// The texts of a thumbnail of that state of the file; nothing where it is of another, or not there.
std::optional<PngTexts> validTexts(const Path& path, const ThumbnailSubject& subject)
{
    // All texts that matter, and those that others add.
    constexpr std::uint64_t MaxTextBytes = std::uint64_t { 1 } << 16;
    auto file = InputFile::open(path);
    auto begin = file ? file->bytesAt(0, std::min(file->size(), MaxTextBytes)) : Result<Bytes>(file.error());
    PngTexts texts = begin ? textsOfPng(*begin) : PngTexts();
    auto says = [&](std::string_view key, const std::string& expected, bool ifThere = false) {
        auto found = texts.find(key);
        return found == texts.end() ? ifThere : found->second == expected;
    };
    bool isValid = says(Uri, subject.uri) && says(MTime, std::to_string(subject.modificationTime))
        && says(FileSize, std::to_string(subject.size), true);
    return isValid ? std::optional(std::move(texts)) : std::nullopt;
}

/// For the user alone from the beginning, even where a file that others can read is replaced.
Result<void> write(const Path& path, ByteView content)
{
    MV_TRY_VOID(makeFolder(std::string(path.directory())));
    // A link would lead out of the cache, and a file that is there would give its mode to the new one.
    struct stat facts { };
    if (lstat(path.c_str(), &facts) == 0) {
        bool isOurFile = S_ISREG(facts.st_mode) && chmod(path.c_str(), FileMode) == 0;
        if (!isOurFile && unlink(path.c_str()) != 0)
            return systemError(errno, path.text());
    }
    MV_TRY(file, OutputFile::create(path));
    if (fchmod(file->fd(), FileMode) != 0)
        return systemError(errno, path.text());
    MV_TRY_VOID(file->writeAt(0, content));
    return file->commit();
}

} // namespace

PngTexts textsOf(const FilePreview& preview)
{
    PngTexts texts { { std::string(SourceWidth), std::to_string(preview.sourceWidth) },
        { std::string(SourceHeight), std::to_string(preview.sourceHeight) } };
    // More seconds than a year has are nobody's film.
    constexpr double MaxSeconds = 31'536'000;
    if (preview.seconds && *preview.seconds >= 0 && *preview.seconds < MaxSeconds)
        texts.emplace(Length, std::to_string(static_cast<std::int64_t>(*preview.seconds)));
    return texts;
}

Result<ThumbnailCache> ThumbnailCache::ofUser()
{
    // By its specification the variable counts only with a whole path.
    const char* cache = std::getenv("XDG_CACHE_HOME");
    if (cache && cache[0] == '/')
        return ThumbnailCache(Path(cache).appending("thumbnails"));
    const char* home = std::getenv("HOME");
    if (!home || home[0] != '/')
        return Error { Error::Kind::NotFound, "neither XDG_CACHE_HOME nor HOME says where thumbnails are kept" };
    return ThumbnailCache(Path(home).appending(".cache/thumbnails"));
}

Path ThumbnailCache::thumbnailPath(const ThumbnailSize& size, std::string_view uri) const
{
    return m_folder.appending(size.name).appending(nameOf(uri));
}

Path ThumbnailCache::failurePath(std::string_view uri) const
{
    return m_folder.appending(FailureFolder).appending(nameOf(uri));
}

bool ThumbnailCache::holds(const ThumbnailSize& size, const ThumbnailSubject& subject) const
{
    return validTexts(thumbnailPath(size, subject.uri), subject).has_value();
}

std::optional<std::string> ThumbnailCache::failure(const ThumbnailSubject& subject) const
{
    auto texts = validTexts(failurePath(subject.uri), subject);
    auto reason = texts ? texts->find(Reason) : PngTexts::iterator();
    if (!texts)
        return std::nullopt;
    return reason == texts->end() ? "no thumbnail can be made of it" : reason->second;
}

Result<void> ThumbnailCache::store(
    const ThumbnailSize& size, const ThumbnailSubject& subject, const FilePreview& preview) const
{
    PngTexts texts = textsOf(subject);
    texts.merge(mv::textsOf(preview));
    return write(thumbnailPath(size, subject.uri), pngOf(preview.picture, texts));
}

Result<void> ThumbnailCache::storeFailure(const ThumbnailSubject& subject, std::string_view reason) const
{
    for (const ThumbnailSize& size : ThumbnailSizes)
        unlink(thumbnailPath(size, subject.uri).c_str());
    PngTexts texts = textsOf(subject);
    texts.emplace(Reason, plainText(reason));
    // One clear pixel: a PNG file has to have some.
    return write(failurePath(subject.uri), pngOf({ 1, 1, Bytes(4) }, texts));
}

void ThumbnailCache::removeFailure(std::string_view uri) const { unlink(failurePath(uri).c_str()); }

} // namespace mv
