#pragma once

#include "pictures/HeifLibrary.h"
#include "pictures/PictureReader.h"

namespace mv {

/// The primary picture of a HEIC or AVIF file. Turning and mirroring that the container itself prescribes is applied,
/// as it is part of what the file's picture is; the orientation that Exif states is not. These pictures decode whole;
/// a small drawing is made from the file's own preview where that is large enough and of the same shape, a quick one
/// only where it is also turned alike and sound.
class HeifReader final : public PictureReader {
public:
    ~HeifReader() override;
    static Result<PictureReaders> open(const SharedSource& source, Drawing drawing = Drawing::Faithful);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    /// An owner of the library's handle of a picture.
    using PictureHandle = std::unique_ptr<heif_image_handle, void (*)(const heif_image_handle*)>;

    HeifReader(SharedSource source, const HeifLibrary& heif, Drawing drawing)
        : m_source(std::move(source))
        , m_heif(heif)
        , m_drawing(drawing)
    {
    }

    void setCallbacks();
    Result<void> readHeader();
    Bytes profileOf(const heif_image_handle* handle) const;
    bool hasShape(const heif_image_handle* preview) const;
    bool isLikeThePicture(const heif_image_handle* preview) const;
    PictureHandle previewFor(int targetWidth, int targetHeight) const;
    Result<void> deliver(const heif_image_handle* handle, bool isStrict, RowSink& sink) const;

    SharedSource m_source;
    const HeifLibrary& m_heif;
    Drawing m_drawing;
    std::uint64_t m_position = 0; ///< of the library's reads
    heif_reader m_callbacks {};
    heif_context* m_context = nullptr;
    heif_image_handle* m_handle = nullptr;
    PictureHeader m_header;
};

} // namespace mv
