// Describes files without the bus, over and over: what a call costs before it is one, and what its steps cost.
// Usage: bench_mp3_in_process [--records] FILE...

#include "Base/Media/Record.h"
#include "id3/MpegFrameReader.h"
#include "id3/TagReader.h"
#include "service/parsers/ID3Columns.h"
#include "service/parsers/MP3Parser.h"
#include "system/InputFile.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

namespace mv {
namespace {

using Clock = std::chrono::steady_clock;

constexpr auto RunTime = std::chrono::seconds(1);

/// Median microseconds of `work` on one file after another.
template <class Work> double medianMicroseconds(const std::vector<std::string>& files, Work work)
{
    std::vector<double> times;
    auto end = Clock::now() + RunTime;
    do {
        for (const std::string& file : files) {
            auto begin = Clock::now();
            work(file);
            times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
        }
    } while (Clock::now() < end);
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2), times.end());
    return times[times.size() / 2];
}

void printText(const Record& record)
{
    for (const auto& [key, value] : record) {
        std::printf("\t%s=", key.c_str());
        if (auto* text = value.string())
            std::printf("%s", text->c_str());
        else if (auto* data = value.data())
            std::printf("<%zu bytes>", data->size());
        else if (auto number = value.integerValue())
            std::printf("%d", *number);
        else if (auto* date = value.date())
            std::printf("@%lld", static_cast<long long>(date->microseconds));
    }
    std::printf("\n");
}

void printRecords(const std::vector<std::string>& files)
{
    MP3Parser parser;
    for (const std::string& file : files) {
        std::printf("%s", file.c_str());
        if (auto record = parser.build(OpenedFile::at(file)))
            printText(*record);
        else
            std::printf("\tnil\n");
    }
}

void measure(const std::vector<std::string>& files)
{
    MP3Parser parser;
    auto build = [&](const std::string& file) { parser.build(OpenedFile::at(file)); };
    auto open = [](const std::string& file) { static_cast<void>(InputFile::open(file)); };
    auto tags = [](const std::string& file) {
        auto input = InputFile::open(file);
        if (input.ok())
            static_cast<void>(readTags(*input));
    };
    auto columns = [](const std::string& file) {
        auto input = InputFile::open(file);
        if (!input.ok())
            return;
        Record record;
        setID3Columns(record, *readTags(*input), *input);
    };
    auto audio = [](const std::string& file) {
        auto input = InputFile::open(file);
        if (input.ok())
            MpegFrameReader::read(*input, 0, input->size());
    };
    std::printf("  in the process: build            %8.1f us\n", medianMicroseconds(files, build));
    std::printf("    open                           %8.1f us\n", medianMicroseconds(files, open));
    std::printf("    open, tags                     %8.1f us\n", medianMicroseconds(files, tags));
    std::printf("    open, tags, columns            %8.1f us\n", medianMicroseconds(files, columns));
    std::printf("    open, audio                    %8.1f us\n", medianMicroseconds(files, audio));
}

} // namespace
} // namespace mv

int main(int count, char** arguments)
{
    std::vector<std::string> files(arguments + 1, arguments + count);
    bool records = !files.empty() && files.front() == "--records";
    if (records) {
        files.erase(files.begin());
        mv::printRecords(files);
    } else if (!files.empty()) {
        mv::measure(files);
    }
}
