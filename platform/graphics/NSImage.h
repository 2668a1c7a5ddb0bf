#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <memory>
#include <optional>
#include <vector>

namespace mv {

/// A colour in sRGB, 8 bits a channel, alpha not multiplied in.
struct NSColor {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;

    static constexpr NSColor whiteColor() { return { 255, 255, 255, 255 }; }
    static constexpr NSColor blackColor() { return { 0, 0, 0, 255 }; }
    bool operator==(const NSColor&) const = default;
};

/// Pixels as sRGB, 8 bits a channel, 4 channels (red, green, blue, alpha not multiplied in), rows from the top
/// without padding.
struct Bitmap {
    int width = 0;
    int height = 0;
    Bytes pixels;
};

/// One representation of a picture: a page of a TIFF, a frame of a movie. Its size is known from its header alone;
/// pixels are made only when they are asked for. Used on one thread at a time.
class NSImageRep {
public:
    virtual ~NSImageRep() = default;
    /// Pixels; no rotation is applied to pictures.
    virtual int pixelsWide() const = 0;
    virtual int pixelsHigh() const = 0;
    /// The colour of one source pixel, counted from the top left; coordinates past an edge mean the edge.
    virtual Result<NSColor> colorAtXY(int x, int y) const = 0;
    /// The whole picture resampled to width x height pixels (both at least 1) with high quality.
    virtual Result<Bitmap> scaledTo(int width, int height) const = 0;

    /// The first representation of a picture file, or null.
    static std::shared_ptr<NSImageRep> imageRepWithContentsOfFile(const Path& path);
};

/// A picture: a list of representations, cheap to copy.
class NSImage {
public:
    using Representations = std::vector<std::shared_ptr<NSImageRep>>;

    NSImage() = default;
    explicit NSImage(std::shared_ptr<NSImageRep> representation) { addRepresentation(std::move(representation)); }

    /// Nothing when no format of the allow list takes the bytes (by their first bytes, never by a name). The bytes
    /// are copied or kept by the picture.
    static std::optional<NSImage> initWithData(Bytes data);
    static std::optional<NSImage> initWithContentsOfFile(const Path& path);

    void addRepresentation(std::shared_ptr<NSImageRep> representation)
    {
        m_representations.push_back(std::move(representation));
    }
    const Representations& representations() const { return m_representations; }
    /// Without a device: the one with the most pixels; null when there is none.
    std::shared_ptr<NSImageRep> bestRepresentationForDevice() const;

private:
    Representations m_representations;
};

} // namespace mv
