#pragma once

#include <span>
#include <string>
#include <vector>

namespace mv {

/// A light worker has our own readers and the picture libraries; a media worker has FFmpeg and libheif, too, which
/// takes ten times as long to start and seven times the memory.
enum class WorkerKind { Light, Media };

/// What a worker is told before it closes itself: it has no environment.
struct WorkerSetup {
    WorkerKind kind = WorkerKind::Light;
    /// The local zone, as a value of the variable TZ. By default the system's, under a name: the C library looks the
    /// zone up again and again unless it has one, which a closed process cannot.
    std::string zone = ":/etc/localtime";
};

/// As the words that its program is started with, the program's own path first.
std::vector<std::string> wordsOf(const std::string& program, const WorkerSetup& setup);
/// From such words; of one that is missing, or of no kind, what a setup has by default.
WorkerSetup setupOf(std::span<const char* const> words);

} // namespace mv
