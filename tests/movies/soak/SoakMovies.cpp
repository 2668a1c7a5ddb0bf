// Describes mutated clips, one after the other in this process: soak_movies COUNT CLIP...
// Fails when one takes longer than 10 s, when memory passes 1 GiB, or when a record is not answered. Not part of the
// test run; `soak` beside this file makes clips and runs it.

#include "Base/Core/Handle.h"
#include "Base/Core/NSLog.h"
#include "Base/Media/MediaDB.h"
#include "platform/QTKit.h"
#include "service/parsers/QuickTimeAVParser.h"
#include "system/InputFile.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/resource.h>

using namespace mv;

namespace {

constexpr double MaxSeconds = 10;
constexpr long MaxKilobytes = 1 << 20;
constexpr std::uint64_t MaxClip = 64u << 20;

class Mutator {
public:
    explicit Mutator(unsigned seed)
        : m_random(seed)
    {
    }

    Bytes mutated(Bytes bytes)
    {
        int changes = 1 + pick(12);
        for (int i = 0; i < changes && !bytes.empty(); ++i)
            change(bytes);
        return bytes;
    }

private:
    int pick(std::size_t below) { return static_cast<int>(m_random() % below); }
    /// Headers stand at both ends of files: half of the changes go there.
    std::size_t place(const Bytes& bytes)
    {
        std::size_t end = std::min<std::size_t>(bytes.size(), 4096);
        switch (pick(4)) {
        case 0:
            return m_random() % end;
        case 1:
            return bytes.size() - 1 - m_random() % end;
        default:
            return m_random() % bytes.size();
        }
    }
    void change(Bytes& bytes)
    {
        std::size_t at = place(bytes);
        std::size_t length = std::min<std::size_t>(1 + m_random() % 64, bytes.size() - at);
        auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        auto end = begin + static_cast<std::ptrdiff_t>(length);
        switch (pick(7)) {
        case 0:
            *begin ^= static_cast<std::uint8_t>(1 << pick(8));
            break;
        case 1:
            *begin = static_cast<std::uint8_t>(m_random());
            break;
        case 2: // a number becomes extreme
            std::fill_n(begin, std::min<std::size_t>(4, length), pick(2) ? 0xFF : 0x00);
            break;
        case 3:
            std::generate(begin, end, [&] { return static_cast<std::uint8_t>(m_random()); });
            break;
        case 4:
            bytes.erase(begin, end);
            break;
        case 5: {
            Bytes copy(begin, end);
            bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(place(bytes)), copy.begin(), copy.end());
            break;
        }
        default:
            if (pick(8) == 0)
                bytes.resize(at);
            break;
        }
    }

    std::mt19937 m_random;
};

double describe(const Bytes& clip, int& withPicture)
{
    UniqueFd file(memfd_create("clip", MFD_CLOEXEC));
    if (!file || write(file.get(), clip.data(), clip.size()) != static_cast<ssize_t>(clip.size()))
        std::abort();
    auto start = std::chrono::steady_clock::now();
    auto record = QuickTimeAVParser {}.build(OpenedFile::at("/proc/self/fd/" + std::to_string(file.get())));
    std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    if (!record || !record->contains(MediaDBCommonColumnFilePath))
        std::abort();
    withPicture += record->contains(MediaDBVideoColumnImage);
    return seconds.count();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    setLogSink([](std::string_view) {}); // every other clip says that it cannot be opened
    int count = std::atoi(argv[1]);
    double longest = 0;
    int withPicture = 0;
    for (int i = 0; i < count; ++i) {
        auto clip = readWholeFile(argv[2 + i % (argc - 2)], MaxClip);
        if (!clip)
            return 2;
        double seconds = describe(Mutator(static_cast<unsigned>(i)).mutated(std::move(*clip)), withPicture);
        if (seconds > longest)
            std::printf("clip %d of %s took %.3f s\n", i, argv[2 + i % (argc - 2)], seconds);
        longest = std::max(longest, seconds);
    }
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%d clips, %d with a picture, the longest %.3f s, at most %.1f MB\n", count, withPicture, longest,
        static_cast<double>(usage.ru_maxrss) / 1024);
    return longest <= MaxSeconds && usage.ru_maxrss <= MaxKilobytes ? 0 : 1;
}
