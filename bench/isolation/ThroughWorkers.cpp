// What a closed worker adds to a reading call: the same files by the root object in this process and through a worker,
// in turns, so that what else the machine does falls on both.
//
//     bench_isolation OPERATION ROUNDS FILE...
//
// OPERATION is the number of a ReadingOperation. Prints microseconds of a call, medians and means, births of workers
// included: with enough calls a worker is replaced by the next as it is in the service.

#include "service/isolated/WorkerHost.h"
#include "service/worker/ReadingRunner.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <numeric>

using namespace mv;

namespace {

using Clock = std::chrono::steady_clock;

// Calls that follow each other in one process before the other's turn: a cold cache is no part of the question.
constexpr int CallsInTurn = 8;

class Times {
public:
    template <class Work> void measure(const Work& work)
    {
        Clock::time_point begin = Clock::now();
        work();
        m_microseconds.push_back(std::chrono::duration<double, std::micro>(Clock::now() - begin).count());
    }
    double median()
    {
        std::ranges::sort(m_microseconds);
        return m_microseconds[m_microseconds.size() / 2];
    }
    double mean() const
    {
        return std::accumulate(m_microseconds.begin(), m_microseconds.end(), 0.0)
            / static_cast<double>(m_microseconds.size());
    }

private:
    std::vector<double> m_microseconds;
};

} // namespace

int main(int count, char** words)
{
    if (count < 4) {
        std::fprintf(stderr, "usage: bench_isolation OPERATION ROUNDS FILE...\n");
        return 2;
    }
    // As the service has it.
    mallopt(M_MMAP_THRESHOLD, 1 << 20);
    mallopt(M_TRIM_THRESHOLD, 1 << 20);
    auto operation = static_cast<ReadingOperation>(std::atoi(words[1]));
    int rounds = std::atoi(words[2]);
    WorkerHost workers(installedWorkerProgram());
    workers.pool().keepSpares();
    Times here;
    Times there;
    auto job = [&](const char* file) {
        return ReadingJob { .operation = operation, .file = OpenedFile::at(Path(file)), .maximum = { 100, 100 } };
    };
    for (int file = 3; file < count; ++file) {
        // The first call loads libraries here and starts a worker there.
        static_cast<void>(runReadingJob(job(words[file])));
        static_cast<void>(workers.read(job(words[file])));
    }
    for (int round = 0; round < rounds; ++round) {
        for (int file = 3; file < count; ++file) {
            for (int i = 0; i < CallsInTurn; ++i)
                here.measure([&] { static_cast<void>(runReadingJob(job(words[file]))); });
            for (int i = 0; i < CallsInTurn; ++i)
                there.measure([&] { static_cast<void>(workers.read(job(words[file]))); });
        }
    }
    std::printf("in process median %.1f mean %.1f, worker median %.1f mean %.1f, added median %.1f mean %.1f, ratio "
                "median %.3f mean %.3f\n",
        here.median(), here.mean(), there.median(), there.mean(), there.median() - here.median(),
        there.mean() - here.mean(), there.median() / here.median(), there.mean() / here.mean());
    return 0;
}
