#pragma once

#include <mivo/File.h>

#include <memory>
#include <string>

namespace mivo {

class PictureContent;

/// A picture that a file carries, or a thumbnail: a file in memory, and what it is. To be moved, not copied; one that
/// was moved from is empty.
class MIVO_API Picture {
public:
    /// What stands on the front of an album, among ID3's picture types.
    static constexpr int FrontCover = 3;

    Picture();
    Picture(Picture&& other) noexcept;
    Picture& operator=(Picture&& other) noexcept;
    ~Picture();

    /// Standing at its start; nobody can change its content. Sealed, so that it can be mapped without fear.
    const File& file() const noexcept;
    /// Gives the file to the caller.
    File takeFile() noexcept;
    /// Its bytes; throws Error.
    Bytes content() const;
    /// "image/png"; of a carried picture by its first bytes where those tell, else as the file says, and maybe empty.
    /// "image/x-rgba" is 8 bits each of red, green, blue and opacity, not multiplied, rows from the top without gaps.
    const std::string& mimeType() const noexcept;

    /// Of a thumbnail, in pixels; 0 of a carried picture.
    int width() const noexcept;
    int height() const noexcept;
    /// Of a carried picture: one of ID3's picture types. 0 of a thumbnail.
    int type() const noexcept;
    /// Of a carried picture, in UTF-8.
    const std::string& description() const noexcept;

private:
    friend class PictureContent;

    std::unique_ptr<PictureContent> m_content; // null is empty
};

} // namespace mivo
