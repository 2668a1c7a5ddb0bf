#pragma once

#include "tests/integration/Job1Client.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Mp3Maker.h"

#include <filesystem>
#include <unistd.h>

namespace mv::test {

/// As long as it takes an encoder to be seen at it, on any machine: nothing waits for the end of such a job.
inline constexpr double LongSeconds = 1200;

/// The service, and a folder for what it makes.
class EncodingService : public RunningService {
protected:
    std::string wave(const std::string& name, double seconds = 1) { return m_folder.write(name, waveFile(seconds)); }
    std::string at(const std::string& name) const { return m_folder.file(name); }
    bool isThere(const std::string& name) const { return access(at(name).c_str(), F_OK) == 0; }
    /// Everything in the folder, hidden files too.
    std::size_t files() const
    {
        using std::filesystem::directory_iterator;
        return static_cast<std::size_t>(std::distance(directory_iterator(m_folder.path()), directory_iterator()));
    }
    /// A job that has begun to encode, and does not end by itself soon.
    std::string longJob(const std::string& destination, const Media1Options& options = {})
    {
        std::string source = at("long.wav");
        if (!isThere("long.wav"))
            wave("long.wav", LongSeconds);
        std::string job = m_jobs.begin(source, at(destination), options);
        EXPECT_TRUE(eventually([&] { return m_jobs.status(job).progress > 0; }));
        return job;
    }

    ScratchFolder m_folder { memoryFolder() };
    Job1Client m_jobs { m_client };
    Media1Client m_media { m_client };
};

} // namespace mv::test
