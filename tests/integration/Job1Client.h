#pragma once

#include "tests/integration/Media1Client.h"
#include "tests/support/BusClient.h"

#include <chrono>
#include <string>
#include <vector>

namespace mv::test {

/// What a job says of itself.
struct JobStatus {
    std::string state; ///< empty where there is no such job
    double progress = 0;
    std::string error; ///< without the prefix of the interface
    std::string text;
    std::string source;
    std::string destination;
};

/// A change that a job has told of.
struct JobChange {
    std::string job;
    std::vector<std::string> names; ///< of the properties
    std::chrono::steady_clock::time_point at;
};

/// Has files encoded by Mivo.Media1, and hears of its jobs.
class Job1Client {
public:
    /// Hears of changes from now on, whenever its client is served.
    explicit Job1Client(BusClient& client);
    Job1Client(const Job1Client&) = delete;
    Job1Client& operator=(const Job1Client&) = delete;

    /// The job's path, or the error of the call without the prefix of the interface.
    Answer encode(const std::string& source, const std::string& destination, const Media1Options& options = {});
    /// The same, of which nothing but success is expected; the job's path.
    std::string begin(const std::string& source, const std::string& destination, const Media1Options& options = {});
    JobStatus status(const std::string& job);
    /// Waits until it does not run any more.
    JobStatus awaitEnd(const std::string& job);
    Answer cancel(const std::string& job);
    Answer release(const std::string& job);

    /// Everything that was told so far.
    const std::vector<JobChange>& changes();

private:
    static int noteChange(sd_bus_message* message, void* userdata, sd_bus_error*);

    BusClient& m_client;
    BusSlot m_match;
    std::vector<JobChange> m_changes;
};

/// Sound that is no silence, WAVE of two channels and 16 bits.
std::string waveFile(double seconds);

Media1Option countOption(std::string key, std::uint32_t value);

} // namespace mv::test
