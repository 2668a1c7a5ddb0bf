#pragma once

#include "pictures/ImageRep.h"
#include "pictures/PictureReader.h"
#include "system/OpenedFile.h"

#include <memory>
#include <optional>
#include <vector>

namespace mv {

using NSColor = Color;
using NSImageRep = ImageRep;

/// A picture: a list of representations, cheap to copy.
class NSImage {
public:
    using Representations = std::vector<std::shared_ptr<NSImageRep>>;

    NSImage() = default;
    explicit NSImage(std::shared_ptr<NSImageRep> representation) { addRepresentation(std::move(representation)); }

    /// Nothing when no format of the allow list takes the bytes (by their first bytes, never by a name). The bytes
    /// are copied or kept by the picture.
    static std::optional<NSImage> initWithData(Bytes data, Drawing drawing = Drawing::Faithful);
    static std::optional<NSImage> initWithContentsOfFile(const OpenedFile& file, Drawing drawing = Drawing::Faithful);
    /// The first representation of a picture file, or null.
    static std::shared_ptr<NSImageRep> imageRepWithContentsOfFile(const OpenedFile& file);

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
