#pragma once

#include "movies/MovieBackend.h"
#include "platform/QTMovie.h"
#include "system/OpenedFile.h"

#include <chrono>
#include <memory>
#include <string>

namespace mv {

/// A movie in a file. ISO media are described from their boxes, and FFmpeg opens them when a frame is asked for; other
/// containers FFmpeg opens at once.
class FileMovie final : public QTMovie {
public:
    /// `deadline` bounds FFmpeg's work on the movie, opening and frames together.
    static Result<std::unique_ptr<QTMovie>> open(const OpenedFile& file, std::chrono::milliseconds deadline);

    Attribute attributeForKey(std::string_view key) const override;
    QTTime duration() const override { return m_description.duration; }
    std::vector<QTTrack> tracks() const override { return m_description.tracks; }
    std::optional<NSImage> frameImageAtTime(QTTime time) override;
    std::optional<NSImage> quickImageBeforeTime(QTTime time) override;
    std::optional<NSImage> posterImage() override;
    std::optional<NSImage> attachedImage() override;

private:
    explicit FileMovie(std::chrono::milliseconds deadline)
        : m_deadline(deadline)
    {
    }
    Result<void> openParts(const OpenedFile& file);
    void setFileFacts(const OpenedFile& file);
    BackendMovie* opened();

    std::chrono::milliseconds m_deadline;
    MovieDescription m_description;
    std::string m_fileName;
    SharedSource m_content; // until FFmpeg takes it
    std::unique_ptr<BackendMovie> m_backend;
};

} // namespace mv
