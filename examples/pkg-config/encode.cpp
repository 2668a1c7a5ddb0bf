// Makes MP3 files of sound files, side by side and with their tags and covers, until Control-C:
// mivo-encode FOLDER FILE...

#include <csignal>
#include <cstdio>
#include <mivo/mivo.h>
#include <string>
#include <vector>

namespace {

volatile std::sig_atomic_t s_interrupted = 0;

std::string destination(const std::string& folder, const std::string& source)
{
    std::string name = source.substr(source.rfind('/') + 1);
    return folder + "/" + name.substr(0, name.rfind('.')) + ".mp3";
}

void showProgress(const std::vector<mivo::Job>& jobs)
{
    double done = 0;
    for (const mivo::Job& job : jobs)
        done += job.progress();
    std::printf("\r%3.0f%%", 100 * done / static_cast<double>(jobs.size()));
    std::fflush(stdout);
}

/// True when the job has made its file; says why where it has not.
bool awaitEnd(mivo::Job& job, const std::string& name)
{
    while (!job.waitFor(std::chrono::milliseconds(100))) {
        if (s_interrupted)
            job.cancel();
    }
    if (job.error())
        std::fprintf(stderr, "\n%s: %s\n", name.c_str(), job.error()->what());
    return job.state() == mivo::Job::State::Done;
}

bool encode(const std::string& folder, const std::vector<std::string>& sources)
{
    mivo::MediaClient client;
    std::vector<mivo::Job> jobs;
    for (const std::string& source : sources)
        jobs.push_back(
            client.encode(source, destination(folder, source), { { mivo::keys::encoding::Vbr, true } }).get());
    for (mivo::Job& job : jobs)
        job.onChange([&] { showProgress(jobs); });
    bool all = true;
    for (std::size_t i = 0; i < jobs.size(); ++i)
        all = awaitEnd(jobs[i], sources[i]) && all;
    std::printf("\n%s\n", all ? "done" : "not all was done");
    return all;
}

} // namespace

int main(int count, char** words)
{
    if (count < 3) {
        std::fprintf(stderr, "mivo-encode FOLDER FILE...\n");
        return 2;
    }
    std::signal(SIGINT, [](int) { s_interrupted = 1; });
    try {
        return encode(words[1], { words + 2, words + count }) ? 0 : 1;
    } catch (const mivo::Error& error) {
        std::fprintf(stderr, "mivo-encode: %s\n", error.what());
        return 1;
    }
}
