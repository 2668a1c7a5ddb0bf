// bench_convert export IN OUT
// bench_convert [-c CORES] [-w] aac IN OUT [BITRATE]: to AAC, by several encoders at once with -c.
// With -w the job is done twice, and the second one's wall and CPU seconds are printed: those of a service that has
// done such a job before.

#include "service/transcode/AacEncodingJob.h"
#include "service/transcode/MP4ExporterImpl.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string_view>
#include <unistd.h>

namespace {

using namespace mv;

class GoOn final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t) override { return true; }
};

struct Job {
    bool isExport = false;
    unsigned cores = 1;
    const char* source = nullptr;
    const char* destination = nullptr;
    int bitrate = 128'000;

    int run() const
    {
        auto from = OpenedFile::at(source);
        auto to = OutputPlace::at(destination);
        MP4ExporterImpl exporter;
        if (isExport)
            return exporter.exportWithDelegateFromPathToMp4Path(nullptr, from, to);
        return cores > 1 ? runOnCores(from, *to)
                         : exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(nullptr, from, to, bitrate);
    }
    int runOnCores(const OpenedFile& from, OutputPlace& to) const
    {
        GoOn delegate;
        AacEncodingJob job(from, static_cast<std::uint32_t>(bitrate), delegate);
        int status = job.open();
        if (status == 0 && !job.isForSegments())
            std::fprintf(stderr, "not for several encoders\n");
        return status == 0 && job.isForSegments() ? job.run(to, cores) : 1;
    }
};

double cpuSeconds()
{
    timespec time {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

} // namespace

int main(int count, char** arguments)
{
    Job job;
    bool warm = false;
    for (int option; (option = getopt(count, arguments, "wc:")) != -1;) {
        if (option == '?')
            return 2;
        warm = warm || option == 'w';
        if (option == 'c')
            job.cores = static_cast<unsigned>(std::atoi(optarg));
    }
    if (count - optind < 3)
        return 2;
    job.isExport = std::string_view(arguments[optind]) == "export";
    job.source = arguments[optind + 1];
    job.destination = arguments[optind + 2];
    if (count - optind > 3)
        job.bitrate = std::atoi(arguments[optind + 3]);
    int status = job.run();
    if (status == 0 && warm) {
        auto start = std::chrono::steady_clock::now();
        double cpu = cpuSeconds();
        status = job.run();
        std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
        std::printf("%f %f\n", wall.count(), cpuSeconds() - cpu);
    }
    if (status != 0)
        std::fprintf(stderr, "failed: %d\n", status);
    return status == 0 ? 0 : 1;
}
