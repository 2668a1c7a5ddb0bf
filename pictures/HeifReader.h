#pragma once

#include "pictures/HeifLibrary.h"
#include "pictures/PictureReader.h"

namespace mv {

/// The primary picture of a HEIC or AVIF file. Turning and mirroring that the container itself prescribes is applied,
/// as it is part of what the file's picture is; the orientation that Exif states is not. These pictures decode whole;
/// a small drawing is made from the file's own preview where that is large enough and of the same shape.
class HeifReader final : public PictureReader {
public:
    ~HeifReader() override;
    static Result<PictureReaders> open(const SharedSource& source);

    const PictureHeader& header() const override { return m_header; }
    Result<void> decode(int targetWidth, int targetHeight, RowSink& sink) override;

private:
    HeifReader(SharedSource source, const HeifLibrary& heif)
        : m_source(std::move(source))
        , m_heif(heif)
    {
    }

    void setCallbacks();
    Result<void> readHeader();
    Bytes readProfile() const;
    heif_image_handle* previewFor(int targetWidth, int targetHeight) const;
    Result<void> deliver(const heif_image_handle* handle, RowSink& sink) const;

    SharedSource m_source;
    const HeifLibrary& m_heif;
    std::uint64_t m_position = 0; ///< of the library's reads
    heif_reader m_callbacks {};
    heif_context* m_context = nullptr;
    heif_image_handle* m_handle = nullptr;
    PictureHeader m_header;
};

} // namespace mv
