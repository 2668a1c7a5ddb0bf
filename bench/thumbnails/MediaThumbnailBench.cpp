// Thumbnails as Mivo.Media1 makes them, in one process, without a worker and the bus:
//   bench_media_thumbnails rgba|png|gdk SIDE FILE...
// prints "FILE <best CPU milliseconds> <median> <peak resident megabytes>" a line, from opening the file to the bytes
// of the result. "rgba" has no encoding, as gdk-pixbuf ("gdk") has none. Peak memory grows over the files of a call.
// With MIVO_BENCH_REPEATS set, so many pictures are made and no more, for programs that count instructions.

#include "service/worker/MediaThumbnail.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <malloc.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

namespace {

// One picture is repeated until this much time is measured, at least three times.
constexpr double EnoughMilliseconds = 1000;
constexpr std::size_t MaxRepeats = 1000;

double cpuMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

bool draw(std::string_view peer, const char* path, int side)
{
    if (peer == "gdk") {
        GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file_at_size(path, side, side, nullptr);
        if (pixbuf)
            g_object_unref(pixbuf);
        return pixbuf != nullptr;
    }
    mv::ThumbnailWish wish { .size = static_cast<std::uint32_t>(side),
        .format = peer == "png" ? mv::ThumbnailFormat::Png : mv::ThumbnailFormat::Rgba };
    return std::holds_alternative<mv::Thumbnail>(mv::makeMediaThumbnail(mv::OpenedFile::at(path), wish));
}

bool isEnough(std::size_t count, double milliseconds)
{
    if (const char* repeats = std::getenv("MIVO_BENCH_REPEATS"))
        return count >= std::strtoul(repeats, nullptr, 10);
    return count >= 3 && (count >= MaxRepeats || milliseconds >= EnoughMilliseconds);
}

void measure(std::string_view peer, const char* path, int side)
{
    std::vector<double> times;
    double start = cpuMilliseconds();
    while (!isEnough(times.size(), cpuMilliseconds() - start)) {
        double before = cpuMilliseconds();
        if (!draw(peer, path, side)) {
            std::printf("%s - - -\n", path);
            return;
        }
        times.push_back(cpuMilliseconds() - before);
    }
    std::sort(times.begin(), times.end());
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%s %.2f %.2f %ld\n", path, times.front(), times[times.size() / 2], usage.ru_maxrss / 1024);
}

} // namespace

int main(int count, char** arguments)
{
    std::string_view peer = count > 3 ? arguments[1] : "";
    if (peer != "rgba" && peer != "png" && peer != "gdk") {
        std::fprintf(stderr, "usage: bench_media_thumbnails rgba|png|gdk SIDE FILE...\n");
        return 2;
    }
    // Memory stays with the process, as in a worker.
    constexpr int Much = 64 << 20;
    mallopt(M_MMAP_THRESHOLD, Much / 2);
    mallopt(M_TRIM_THRESHOLD, Much);
    for (int i = 3; i < count; ++i)
        measure(peer, arguments[i], std::atoi(arguments[2]));
    return 0;
}
