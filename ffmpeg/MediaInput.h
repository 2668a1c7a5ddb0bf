#pragma once

#include "ffmpeg/Handles.h"
#include "ffmpeg/MediaLimits.h"
#include "movies/MovieBackend.h"
#include "system/ByteSource.h"

#include <chrono>
#include <memory>
#include <optional>

namespace mv {

/// A media file opened by FFmpeg under guard: only the containers of our list, recognised by content and never by
/// name; only the file itself is ever opened (no playlists, no other files that it names); bounded streams,
/// probing and pixels; reads fail once the deadline has passed. Used on one thread at a time.
class MediaInput {
public:
    struct Settings {
        /// Time for everything, counted from opening; nothing for work that takes as long as it takes.
        std::optional<std::chrono::milliseconds> deadline = DefaultDeadline;
        /// Makes up presentation times where the container has none (AVI with B frames), for copying packets.
        bool generatePts = false;
        /// Where in the file the media begins: what is before it is as if it were not there.
        std::uint64_t start = 0;
        /// FFmpeg's sureness of the container, of 100, below which the content is none.
        int lowestScore = 0;
        /// FFmpeg's name of a container of our list; the content is then not asked what it is.
        const char* container = nullptr;
    };

    static Result<std::unique_ptr<MediaInput>> open(SharedSource file, const Settings& settings);
    /// Whether the content is one of the containers that open() takes for a movie: reads the beginning only.
    static bool recognises(SharedSource file);

    ~MediaInput() = default;
    MediaInput(const MediaInput&) = delete;
    MediaInput& operator=(const MediaInput&) = delete;

    AVFormatContext& context() { return *m_context; }
    const AVFormatContext& context() const { return *m_context; }
    const ByteSource& file() const { return *m_file; }
    /// MP4, QuickTime and their kin.
    bool isIsoMedia() const;
    /// Whether the file was cut: the header of ISO media lists every sample of a stream, and the file ends before the
    /// last of them. (Fragments list theirs as they come; a cut one is whole as far as it goes.)
    bool endsBeforeSamplesOf(const AVStream& stream) const;

    /// avformat_find_stream_info within the limits: reads and decodes as far as needed to know every codec. Once: a
    /// second call answers as after success.
    Result<void> findStreamInfo();
    /// True once the deadline has passed; loops over packets ask it.
    bool expired() const;

private:
    explicit MediaInput(SharedSource file)
        : m_file(std::move(file))
    {
    }
    static int readPacket(void* self, std::uint8_t* target, int size);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);
    static int interrupted(void* self);
    bool makeIoContext();

    SharedSource m_file;
    std::uint64_t m_start = 0; // positions count from here
    std::int64_t m_position = 0;
    bool m_askedForStreamInfo = false;
    std::optional<std::chrono::steady_clock::time_point> m_deadline;
    // In this order: the format context reads through the I/O context until it is closed.
    IoContext m_io;
    InputContext m_context;
};

} // namespace mv
