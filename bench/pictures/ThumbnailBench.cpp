// Thumbnails in one process, each peer on its own:
//   bench_thumbnails mivo|vips|gdk|jpeg8 SIDE FILE...
// prints "FILE <best CPU milliseconds> <median> <peak resident megabytes>" a line, from opening the file to the bytes
// of the result. "jpeg8" is libjpeg's own decoding at one eighth and nothing else. Peak memory grows over the files of
// a call.

#include "service/image/NSImageExtension.h"
#include "system/InputFile.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <jpeglib.h>
#include <map>
#include <string>
#include <sys/resource.h>
#include <vips/vips.h>

namespace {

// One picture is repeated until this much time is measured, at least three times.
constexpr double EnoughMilliseconds = 1000;
constexpr int MaxRepeats = 300;

double cpuMilliseconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

bool byMivo(const std::string& path, int side)
{
    auto image = mv::NSImage::initWithContentsOfFile(mv::OpenedFile::at(path));
    float maximum = static_cast<float>(side);
    return image && mv::makeThumbnailForContentCategoryWithMaxSize(*image, 2, { maximum, maximum });
}

bool byVips(const std::string& path, int side)
{
    VipsImage* thumbnail = nullptr;
    // FALSE for the rotation: neither turns pictures.
    if (vips_thumbnail(path.c_str(), &thumbnail, side, "height", side, "no_rotate", TRUE, nullptr))
        return false;
    std::size_t size = 0;
    void* pixels = vips_image_write_to_memory(thumbnail, &size);
    g_free(pixels);
    g_object_unref(thumbnail);
    return pixels != nullptr;
}

bool byGdk(const std::string& path, int side)
{
    GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file_at_size(path.c_str(), side, side, nullptr);
    if (pixbuf)
        g_object_unref(pixbuf);
    return pixbuf != nullptr;
}

/// Sound files only: the library's own error handling ends the program.
bool byJpegAlone(const std::string& path, int)
{
    auto bytes = mv::readWholeFile(mv::Path(path), 1u << 30);
    if (!bytes || bytes->size() < 2 || (*bytes)[0] != 0xFF)
        return false;
    jpeg_error_mgr errors {};
    jpeg_decompress_struct jpeg {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, bytes->data(), bytes->size());
    jpeg_read_header(&jpeg, TRUE);
    jpeg.scale_denom = 8;
    jpeg_start_decompress(&jpeg);
    mv::Bytes row(jpeg.output_width * static_cast<std::size_t>(jpeg.output_components));
    JSAMPROW pointer = row.data();
    while (jpeg.output_scanline < jpeg.output_height)
        jpeg_read_scanlines(&jpeg, &pointer, 1);
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
    return true;
}

void measure(const std::function<bool(const std::string&, int)>& draw, const std::string& path, int side)
{
    std::vector<double> times;
    double start = cpuMilliseconds();
    while (times.size() < 3 || (times.size() < MaxRepeats && cpuMilliseconds() - start < EnoughMilliseconds)) {
        double before = cpuMilliseconds();
        if (!draw(path, side)) {
            std::printf("%s - - -\n", path.c_str());
            return;
        }
        times.push_back(cpuMilliseconds() - before);
    }
    std::sort(times.begin(), times.end());
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%s %.2f %.2f %ld\n", path.c_str(), times.front(), times[times.size() / 2], usage.ru_maxrss / 1024);
}

} // namespace

int main(int count, char** arguments)
{
    const std::map<std::string, std::function<bool(const std::string&, int)>> peers { { "mivo", byMivo },
        { "vips", byVips }, { "gdk", byGdk }, { "jpeg8", byJpegAlone } };
    auto peer = count > 3 ? peers.find(arguments[1]) : peers.end();
    if (peer == peers.end()) {
        std::fprintf(stderr, "usage: bench_thumbnails mivo|vips|gdk|jpeg8 SIDE FILE...\n");
        return 2;
    }
    if (peer->first == "vips") {
        if (vips_init(arguments[0]))
            return 1;
        vips_concurrency_set(1);
        vips_cache_set_max(0);
    }
    for (int i = 3; i < count; ++i)
        measure(peer->second, arguments[i], std::atoi(arguments[2]));
    return 0;
}
