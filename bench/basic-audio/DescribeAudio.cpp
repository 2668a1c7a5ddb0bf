#include "Base/Media/MediaDB.h"
#include "platform/BASS.h"
#include "service/parsers/MVBasicAudioParser.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

// bench_basic_audio TIMES FILE...: one line a file: microseconds of one description, play length.
int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    mv::BASS_Init(-1, 44100, 0, nullptr, nullptr);
    mv::MVBasicAudioParser parser;
    int times = std::max(1, std::atoi(argv[1]));
    for (int i = 2; i < argc; ++i) {
        std::int32_t seconds = -1;
        auto start = std::chrono::steady_clock::now();
        for (int round = 0; round < times; ++round) {
            auto record = parser.build(mv::OpenedFile::at(argv[i]));
            seconds = record ? record->integer(mv::MediaDBMusicColumnPlayLength).value_or(-1) : -1;
        }
        std::chrono::duration<double, std::micro> spent = std::chrono::steady_clock::now() - start;
        std::printf("%.1f %d\n", spent.count() / times, seconds);
    }
    return 0;
}
