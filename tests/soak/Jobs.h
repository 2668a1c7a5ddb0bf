#pragma once

#include "tests/support/BusClient.h"
#include "tests/support/Scratch.h"

#include <random>
#include <string>
#include <vector>

namespace mv::test {

/// Real files by folder of the corpus.
struct SoakFiles {
    std::vector<std::string> mp3;
    std::vector<std::string> mp4;
    std::vector<std::string> video;
    std::vector<std::string> image;
    std::vector<std::string> audio;
    std::vector<std::string> bad;

    static SoakFiles ofCorpus();
};

/// One client that does every kind of job, picked at random; what it writes goes into a folder of its own.
class SoakClient {
public:
    SoakClient(const SoakFiles& files, std::uint64_t seed);
    ~SoakClient();

    /// One call (a long job counts as one). Returns false when it was not answered at all.
    bool doOne();

private:
    const std::string& pick(const std::vector<std::string>& from);
    bool answered(const Answer& answer);
    bool describe(const char* service, const std::string& path);
    bool thumbnail();
    bool exif();
    bool updateTag(const std::vector<std::string>& from, std::int32_t mediaType, const char* name);
    bool podcast();
    bool encode();
    bool convert();
    bool exportMovie();
    bool isAlac();

    const SoakFiles& m_files;
    std::mt19937_64 m_random;
    ScratchFolder m_folder;
    BusClient m_client;
    BusSlot m_encoderDelegate;
    BusSlot m_exporterDelegate;
};

} // namespace mv::test
