// Describes files as the audio/video parser's service does: bench_movie [-r COUNT] [-t TIFF] FILE...
// Prints each record, and what the last of COUNT descriptions cost in this process.

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "service/parsers/QuickTimeAVParser.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

using namespace mv;

namespace {

double secondsOf(clockid_t clock)
{
    timespec now {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

std::string textOf(const Value& value)
{
    if (auto* text = value.string())
        return *text;
    if (auto* flag = value.boolean())
        return *flag ? "YES" : "NO";
    if (auto* date = value.date())
        return formatText("@%.3f", static_cast<double>(date->microseconds) * 1e-6);
    if (auto* data = value.data())
        return formatText("%zu bytes", data->size());
    return formatText("%d", value.integerValue().value_or(0));
}

void describe(const char* path, int count, const char* pictureFile)
{
    QuickTimeAVParser parser;
    std::optional<Record> record;
    double wall = 0;
    double cpu = 0;
    for (int i = 0; i < count; ++i) {
        wall = secondsOf(CLOCK_MONOTONIC);
        cpu = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
        record = parser.build(OpenedFile::at(path));
        wall = secondsOf(CLOCK_MONOTONIC) - wall;
        cpu = secondsOf(CLOCK_PROCESS_CPUTIME_ID) - cpu;
    }
    for (const auto& [key, value] : *record)
        std::printf("%s=%s ", key.c_str(), textOf(value).c_str());
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("| wall_ms=%.3f cpu_ms=%.3f peak_mb=%.1f\n", wall * 1e3, cpu * 1e3,
        static_cast<double>(usage.ru_maxrss) / 1024);
    if (const Bytes* picture = record->data(MediaDBVideoColumnImage); picture && pictureFile)
        std::ofstream(pictureFile, std::ios::binary)
            .write(reinterpret_cast<const char*>(picture->data()), static_cast<std::streamsize>(picture->size()));
}

} // namespace

int main(int argc, char** argv)
{
    int count = 1;
    const char* pictureFile = nullptr;
    for (int option = 0; (option = getopt(argc, argv, "r:t:")) != -1;) {
        if (option == 'r')
            count = std::max(1, std::atoi(optarg));
        else if (option == 't')
            pictureFile = optarg;
        else
            return 2;
    }
    for (int i = optind; i < argc; ++i)
        describe(argv[i], count, pictureFile);
    return 0;
}
