// bench_tag_update FILE TITLE...: one update for each title, each timed; prints milliseconds, one a line.
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/MediaTag.h"

#include <chrono>
#include <cstdio>

int main(int count, char** arguments)
{
    if (count < 3)
        return 2;
    mv::Path file(arguments[1]);
    std::int32_t mediaType = file.pathExtension() == "m4a" ? mv::MVMediaTypeM4A : mv::MVMediaTypeMP3;
    mv::MediaTag updater;
    for (int i = 2; i < count; ++i) {
        mv::Record record { { mv::MediaDBCommonColumnMediaType, mediaType },
            { mv::MediaDBMusicColumnTitle, arguments[i] } };
        auto begin = std::chrono::steady_clock::now();
        if (!updater.updateTagWithDictionary(*mv::EditableFile::at(file), record))
            return 1;
        std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
        std::printf("%.3f\n", taken.count());
    }
    return 0;
}
