#include "service/transcode/MP4ExporterImpl.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>

namespace {

int doJob(mv::MP4ExporterImpl& exporter, int argc, char** argv)
{
    auto source = mv::OpenedFile::at(argv[2]);
    auto destination = mv::OutputPlace::at(argv[3]);
    if (std::string_view(argv[1]) == "export")
        return exporter.exportWithDelegateFromPathToMp4Path(nullptr, source, destination);
    return exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
        nullptr, source, destination, argc > 4 ? std::atoi(argv[4]) : 128000);
}

double cpuSeconds()
{
    timespec time {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

} // namespace

// bench_convert aac IN OUT BITRATE [again], bench_convert export IN OUT
// With "again" the job is done twice, and the second one's wall and CPU seconds are printed: those of a service that
// has done such a job before.
int main(int argc, char** argv)
{
    if (argc < 4)
        return 2;
    mv::MP4ExporterImpl exporter;
    int status = doJob(exporter, argc, argv);
    if (status == 0 && argc > 5) {
        auto start = std::chrono::steady_clock::now();
        double cpu = cpuSeconds();
        status = doJob(exporter, argc, argv);
        std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
        std::printf("%f %f\n", wall.count(), cpuSeconds() - cpu);
    }
    if (status != 0)
        std::fprintf(stderr, "failed: %d\n", status);
    return status == 0 ? 0 : 1;
}
