#pragma once

#include "platform/QTKit.h"
#include "service/include/MVMediaInfoBuilder.h"

namespace mv {

/// Describes every file that opens as a movie: one with pictures as a video item, one with sound alone as a music
/// item. Entered on one thread only.
class QuickTimeAVParser final : public MVMediaInfoBuilder {
public:
    explicit QuickTimeAVParser(QTKit& toolkit = QTKit::shared())
        : m_toolkit(toolkit)
    {
    }

    /// Always a record. Of a file that cannot be opened, that holds Apple Lossless sound, or pictures that cannot all
    /// be decoded, it holds the file's own columns only.
    std::optional<Record> build(const OpenedFile& file) override;

    /// Sends exitQTKitOnThread for true and enterQTKitOnThread for false. build() does not use it.
    void runQTKitOnMainThread(bool exits);

private:
    void initMovie(const OpenedFile& file);
    void setFileColumns(Record& record, const OpenedFile& file) const;
    void parseMovie(Record& record, const OpenedFile& file) const;
    void parseAudio(Record& record, const OpenedFile& file) const;
    void parseVideo(Record& record) const;
    void setCodecs(Record& record) const;
    void setThumbnail(Record& record, double duration) const;
    double durationInSeconds() const;
    std::int32_t playbackRate() const;

    QTKit& m_toolkit;
    std::unique_ptr<QTMovie> m_movie; // null between calls
};

} // namespace mv
