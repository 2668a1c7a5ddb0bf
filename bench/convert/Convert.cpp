// bench_convert export IN OUT
// bench_convert [-c CORES] [-w] [-t] aac IN OUT [BITRATE]: to AAC, by several encoders at once with -c.
// With -w the job is done twice, and the second one's wall and CPU seconds are printed: those of a service that has
// done such a job before. With -t, of several encoders, wall seconds are printed, and CPU seconds: of reading the
// source alone, of the thread that joins and writes, and of all. The first two are not shared out.

#include "service/transcode/AacEncodingJob.h"
#include "service/transcode/MP4ExporterImpl.h"

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

double secondsOf(clockid_t clock)
{
    timespec time {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// CPU seconds, on this thread.
double readingSeconds(const char* path)
{
    auto file = OpenedFile::at(path);
    auto source = MVExtAudioFile::initWithFileToOpen(file);
    if (!source)
        return 0;
    (*source)->setClientDataFormat((*source)->canonicalDataFormat());
    double before = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    while (!(*source)->readDataWithNumberFrames(4096).empty() && (*source)->lastError() == noErr)
        continue;
    return secondsOf(CLOCK_THREAD_CPUTIME_ID) - before;
}

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

int runShares(const Job& job)
{
    double reading = readingSeconds(job.source);
    double wall = secondsOf(CLOCK_MONOTONIC);
    double own = secondsOf(CLOCK_THREAD_CPUTIME_ID);
    double all = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
    int status = job.run();
    std::printf("%f %f %f %f\n", secondsOf(CLOCK_MONOTONIC) - wall, reading, secondsOf(CLOCK_THREAD_CPUTIME_ID) - own,
        secondsOf(CLOCK_PROCESS_CPUTIME_ID) - all);
    return status;
}

} // namespace

int main(int count, char** arguments)
{
    Job job;
    bool warm = false;
    bool shares = false;
    for (int option; (option = getopt(count, arguments, "wtc:")) != -1;) {
        if (option == '?')
            return 2;
        warm = warm || option == 'w';
        shares = shares || option == 't';
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
    int status = shares ? runShares(job) : job.run();
    if (status == 0 && warm) {
        double wall = secondsOf(CLOCK_MONOTONIC);
        double cpu = secondsOf(CLOCK_PROCESS_CPUTIME_ID);
        status = job.run();
        std::printf("%f %f\n", secondsOf(CLOCK_MONOTONIC) - wall, secondsOf(CLOCK_PROCESS_CPUTIME_ID) - cpu);
    }
    if (status != 0)
        std::fprintf(stderr, "failed: %d\n", status);
    return status == 0 ? 0 : 1;
}
