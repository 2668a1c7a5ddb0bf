#include "platform/system/MainThread.h"
#include "service/transcode/MP4ExporterImpl.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

// bench_convert aac IN OUT BITRATE, bench_convert export IN OUT
int main(int argc, char** argv)
{
    if (argc < 4)
        return 2;
    mv::MainThread::setExecutorForTesting([](const std::function<void()>& work) { work(); });
    mv::MP4ExporterImpl exporter;
    bool isExport = std::string_view(argv[1]) == "export";
    int status = isExport ? exporter.exportWithDelegateFromPathToMp4Path(nullptr, argv[2], argv[3])
                          : exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(
                              nullptr, argv[2], argv[3], argc > 4 ? std::atoi(argv[4]) : 128000);
    if (status != 0)
        std::fprintf(stderr, "failed: %d\n", status);
    return status == 0 ? 0 : 1;
}
