// The scanners that find the length of FLAC and Ogg files, on any bytes.
#include "audio/StreamLength.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {

// One nameless file in memory for the whole run; its path is that of its descriptor.
int memoryFile()
{
    static const int fd = memfd_create("fuzz", MFD_CLOEXEC);
    return fd;
}

void check(const mv::Result<mv::StreamLength>& length)
{
    if (length.ok() && (length->sampleRate == 0 || length->channels == 0))
        std::abort();
}

} // namespace

// The library loses 8 or 16 bytes each time it refuses a file that is damaged in certain ways.
extern "C" const char* __lsan_default_suppressions() { return "leak:libvorbisfile"; }

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    int fd = memoryFile();
    if (ftruncate(fd, 0) != 0 || pwrite(fd, data, size, 0) != static_cast<ssize_t>(size))
        return 0;
    auto file = mv::InputFile::open("/proc/self/fd/" + std::to_string(fd));
    if (!file.ok())
        std::abort();
    check(mv::measureFlac(*file));
    check(mv::measureOgg(*file));
    check(mv::measureOggFlac(*file));
    return 0;
}
