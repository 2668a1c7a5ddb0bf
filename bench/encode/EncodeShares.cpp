// bench_encode_shares [-b BITRATE] [-v] CORES INPUT OUTPUT: encodes a file on so many cores, exactly, and prints what
// each role has taken: seconds of wall clock, and of processors for decoding, for the encoders, for joining and writing
// (the thread that runs the job), for everything else (handing samples over, starting), and all of it together.

#include "service/include/MVAudioEncoderBase.h"
#include "service/transcode/CoreAudioDecoder.h"
#include "service/transcode/Mp3EncodingJob.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <unistd.h>

using namespace mv;

namespace {

long nanosecondsOf(clockid_t clock)
{
    timespec time {};
    clock_gettime(clock, &time);
    return time.tv_sec * 1'000'000'000L + time.tv_nsec;
}

/// Adds what a call takes of the processor to a sum.
class Share {
public:
    explicit Share(std::atomic<long>& sum)
        : m_sum(sum)
    {
    }
    ~Share() { m_sum += nanosecondsOf(CLOCK_THREAD_CPUTIME_ID) - m_begin; }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

private:
    std::atomic<long>& m_sum;
    const long m_begin = nanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
};

std::atomic<long> s_decoding = 0;
std::atomic<long> s_encoding = 0;

class WatchedDecoder final : public MVAudioDecoder {
public:
    std::int32_t readPCMSampleCount(AudioBufferList* buffer, std::uint32_t sampleCount) override
    {
        Share share(s_decoding);
        return m_decoder.readPCMSampleCount(buffer, sampleCount);
    }
    PcmFormat pcmFormat() const override { return m_decoder.pcmFormat(); }
    bool prepareWithPath(const OpenedFile& file) override { return m_decoder.prepareWithPath(file); }
    bool deliverExactStereo() override { return m_decoder.deliverExactStereo(); }

private:
    CoreAudioDecoder m_decoder;
};

class WatchedLibrary final : public LameLibrary {
public:
    int encodeBufferInt(
        lame_t lame, const int* left, const int* right, int frames, unsigned char* buffer, int size) const override
    {
        Share share(s_encoding);
        return LameLibrary::encodeBufferInt(lame, left, right, frames, buffer, size);
    }
};

class Silent final : public EncodingListener {
public:
    void started() override { }
    bool shouldStop() override { return false; }
    void progress(float) override { }
    void failed(std::int32_t code) override { std::fprintf(stderr, "failed with %d\n", static_cast<int>(code)); }
    void ended() override { }
};

} // namespace

int main(int count, char** arguments)
{
    constexpr std::int32_t Stereo = 2;
    constexpr std::int32_t StandardQuality = 1;
    Record attributes { { MVAudioEncoderExactConversionAttribute, true }, { MVMP3EncoderStereoModeAttribte, Stereo },
        { MVMP3EncoderQualityAttribute, StandardQuality } };
    for (int option; (option = getopt(count, arguments, "vb:")) != -1;) {
        if (option == '?')
            return 2;
        if (option == 'b')
            attributes.set(MVAudioEncoderBitrateAttribute, static_cast<std::int32_t>(std::atoi(optarg)));
        else
            attributes.set(MVAudioEncoderVBRAttribute, true);
    }
    if (count - optind != 3)
        return 2;
    if (!attributes.integer(MVAudioEncoderBitrateAttribute))
        attributes.set(MVAudioEncoderBitrateAttribute, std::int32_t { 192'000 });
    const WatchedLibrary library;
    const MP3EncoderParts parts { &library, [] { return std::make_unique<WatchedDecoder>(); },
        static_cast<unsigned>(std::atoi(arguments[optind])) };
    Silent listener;
    auto place = OutputPlace::at(arguments[optind + 2]);
    const long begin = nanosecondsOf(CLOCK_MONOTONIC);
    if (!encodingOfParts(parts)(attributes, listener, OpenedFile::at(arguments[optind + 1]), *place))
        return 1;
    const long wall = nanosecondsOf(CLOCK_MONOTONIC) - begin;
    const long all = nanosecondsOf(CLOCK_PROCESS_CPUTIME_ID);
    const long joining = nanosecondsOf(CLOCK_THREAD_CPUTIME_ID);
    const long rest = all - joining - s_decoding - s_encoding;
    for (long part : { wall, s_decoding.load(), s_encoding.load(), joining, rest, all })
        std::printf("%.4f ", static_cast<double>(part) / 1e9);
    std::printf("\n");
    return 0;
}
