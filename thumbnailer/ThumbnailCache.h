#pragma once

#include "Base/Core/Path.h"
#include "Base/Core/Result.h"
#include "png/PngFile.h"
#include "thumbnailer/FilePreview.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mv {

/// A size of the shared cache: the folder's name, and the larger side of what is in it.
struct ThumbnailSize {
    std::string_view name;
    int pixels;
};

inline constexpr std::array ThumbnailSizes {
    ThumbnailSize { "normal", 128 },
    ThumbnailSize { "large", 256 },
    ThumbnailSize { "x-large", 512 },
    ThumbnailSize { "xx-large", 1024 },
};

/// What a thumbnail is of, and by what it is told whether it still is.
struct ThumbnailSubject {
    std::string uri;
    std::int64_t modificationTime = 0; ///< whole seconds since 1970
    std::int64_t size = 0; ///< bytes
    std::string type; ///< of the media; may be empty
};

/// The user's thumbnails, which file managers share: $XDG_CACHE_HOME/thumbnails, by the freedesktop.org Thumbnail
/// Managing Standard 0.9. A thumbnail is a PNG file called by the MD5 of its file's URI; it is valid while URI and
/// modification time that stand in it are the file's. Folders are for the user alone, and so are files, which come into
/// being whole. Several programs may write at once: the last one wins. Safe on several threads.
class ThumbnailCache {
public:
    /// Of this user; an error where nobody says where that is. Makes nothing yet.
    static Result<ThumbnailCache> ofUser();
    explicit ThumbnailCache(Path folder)
        : m_folder(std::move(folder))
    {
    }

    const Path& folder() const { return m_folder; }
    /// Where the thumbnail lies, or would lie.
    Path thumbnailPath(const ThumbnailSize& size, std::string_view uri) const;

    /// Whether there is a valid thumbnail.
    bool holds(const ThumbnailSize& size, const ThumbnailSubject& subject) const;
    /// Why this version could not make one of the file as it is, where that was found out before.
    std::optional<std::string> failure(const ThumbnailSubject& subject) const;

    Result<void> store(const ThumbnailSize& size, const ThumbnailSubject& subject, const FilePreview& preview) const;
    /// Also removes thumbnails of an earlier state of the file.
    Result<void> storeFailure(const ThumbnailSubject& subject, std::string_view reason) const;
    /// Removes what says that none could be made.
    void removeFailure(std::string_view uri) const;

private:
    Path failurePath(std::string_view uri) const;

    Path m_folder;
};

/// What is known of a preview beside its pixels, by the standard's keys.
PngTexts textsOf(const FilePreview& preview);

} // namespace mv
