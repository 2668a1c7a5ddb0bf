#pragma once

#include "Base/Core/Result.h"
#include "service/include/ThumbnailWish.h"

#include <string>

namespace mv::cli {

/// How the names of thumbnails are made of the names of files: "%s" stands for a file's name without its folder and its
/// ending. A pattern that begins with a slash is a place for all of them; any other one is added to the folder of each
/// file, as vipsthumbnail does.
class ThumbnailPattern {
public:
    /// Fails with a sentence where the ending is not that of a PNG or JPEG.
    static Result<ThumbnailPattern> parse(const std::string& text);

    std::string nameFor(const std::string& file) const;
    /// Whether two files have names of their own.
    bool isForMany() const { return m_text.find(Placeholder) != std::string::npos; }
    ThumbnailFormat format() const { return m_format; }

private:
    static constexpr std::string_view Placeholder = "%s";

    ThumbnailPattern(std::string text, ThumbnailFormat format)
        : m_text(std::move(text))
        , m_format(format)
    {
    }

    std::string m_text;
    ThumbnailFormat m_format;
};

/// A box in pixels.
struct ThumbnailBox {
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    std::uint32_t longSide() const { return width > height ? width : height; }
    bool takes(std::uint32_t pictureWidth, std::uint32_t pictureHeight) const
    {
        return pictureWidth <= width && pictureHeight <= height;
    }
    /// The square in which a picture of these proportions is as large as it can be in the box.
    std::uint32_t squareFor(std::uint32_t pictureWidth, std::uint32_t pictureHeight) const;
};

/// "320x240", or "256" for a square.
Result<ThumbnailBox> thumbnailBox(const std::string& text);

} // namespace mv::cli
