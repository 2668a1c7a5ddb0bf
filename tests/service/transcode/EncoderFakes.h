#pragma once

#include "service/encoder/MP3Encoder.h"
#include "service/transcode/Mp3EncodingJob.h"

#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace mv::test {

/// Watches the encoding library's calls; the real library does the work unless a result is told.
class WatchedLibrary final : public LameLibrary {
public:
    mutable std::vector<std::string> calls; ///< encodeBufferInt is not in it: there are many
    mutable int blocks = 0;
    mutable std::vector<int> framesOfBlocks;
    bool refuseInit = false;
    std::optional<int> meanBitrate; ///< what the library is said to begin with
    std::optional<int> initParamsResult;
    std::optional<int> frameSizeResult;
    std::optional<std::size_t> id3Size;
    std::optional<int> encodeResult;
    int encodeFailsAtBlock = 0;
    std::optional<int> flushResult;
    std::optional<std::size_t> lametagSize;

    lame_t init() const override
    {
        note("init");
        return refuseInit ? nullptr : LameLibrary::init();
    }
    int setOutSamplerate(lame_t lame, int rate) const override
    {
        note("out_samplerate", rate);
        return LameLibrary::setOutSamplerate(lame, rate);
    }
    int setVBR(lame_t lame, vbr_mode mode) const override
    {
        note("VBR", mode);
        return LameLibrary::setVBR(lame, mode);
    }
    int getVBRMeanBitrateKbps(lame_t lame) const override
    {
        note("get_mean");
        return m_mean.value_or(meanBitrate.value_or(LameLibrary::getVBRMeanBitrateKbps(lame)));
    }
    int setVBRMeanBitrateKbps(lame_t lame, int rate) const override
    {
        note("mean", rate);
        m_mean = rate;
        return LameLibrary::setVBRMeanBitrateKbps(lame, rate);
    }
    int setBrate(lame_t lame, int kbps) const override
    {
        note("brate", kbps);
        return LameLibrary::setBrate(lame, kbps);
    }
    int setNumChannels(lame_t lame, int channels) const override
    {
        note("num_channels", channels);
        return LameLibrary::setNumChannels(lame, channels);
    }
    int setInSamplerate(lame_t lame, int rate) const override
    {
        note("in_samplerate", rate);
        return LameLibrary::setInSamplerate(lame, rate);
    }
    int setMode(lame_t lame, MPEG_mode mode) const override
    {
        note("mode", mode);
        return LameLibrary::setMode(lame, mode);
    }
    int setQuality(lame_t lame, int quality) const override
    {
        note("quality", quality);
        return LameLibrary::setQuality(lame, quality);
    }
    int setWriteVbrTag(lame_t lame, int on) const override
    {
        note("write_vbr_tag", on);
        return LameLibrary::setWriteVbrTag(lame, on);
    }
    int initParams(lame_t lame) const override
    {
        note("init_params");
        return initParamsResult.value_or(LameLibrary::initParams(lame));
    }
    int getFramesize(lame_t lame) const override
    {
        note("framesize");
        return frameSizeResult.value_or(LameLibrary::getFramesize(lame));
    }
    std::size_t getId3v2Tag(lame_t lame, unsigned char* buffer, std::size_t size) const override
    {
        note("id3v2_tag", static_cast<int>(size));
        return id3Size ? *id3Size : LameLibrary::getId3v2Tag(lame, buffer, size);
    }
    int encodeBufferInt(
        lame_t lame, const int* left, const int* right, int frames, unsigned char* buffer, int size) const override
    {
        ++blocks;
        framesOfBlocks.push_back(frames);
        if (encodeResult && blocks >= encodeFailsAtBlock)
            return *encodeResult;
        return LameLibrary::encodeBufferInt(lame, left, right, frames, buffer, size);
    }
    int encodeFlush(lame_t lame, unsigned char* buffer, int size) const override
    {
        note("flush", size);
        return flushResult.value_or(LameLibrary::encodeFlush(lame, buffer, size));
    }
    std::size_t getLametagFrame(lame_t lame, unsigned char* buffer, std::size_t size) const override
    {
        note("lametag_frame", static_cast<int>(size));
        return lametagSize ? *lametagSize : LameLibrary::getLametagFrame(lame, buffer, size);
    }
    int close(lame_t lame) const override
    {
        note("close");
        return LameLibrary::close(lame);
    }

private:
    void note(const std::string& call) const { calls.push_back(call); }
    void note(const std::string& call, int value) const { calls.push_back(call + " " + std::to_string(value)); }

    mutable std::optional<int> m_mean;
};

/// A decoder of a rising tone that ends, or fails, where it is told.
class FakeDecoder final : public MVAudioDecoder {
public:
    explicit FakeDecoder(std::int64_t frames, bool prepares = true)
        : m_left(frames)
        , m_prepares(prepares)
    {
        m_pcmFormat = { 44100, 0, 2, 16, 4, frames };
    }
    PcmFormat& announced() { return m_pcmFormat; }
    std::int32_t atEnd = 0; ///< the answer behind the last frame

    bool prepareWithPath(const OpenedFile&) override { return m_prepares; }
    std::int32_t readPCMSampleCount(AudioBufferList* list, std::uint32_t count) override
    {
        auto frames = static_cast<std::int32_t>(std::min<std::int64_t>(m_left, count));
        if (frames == 0)
            return atEnd;
        auto* samples = static_cast<std::int16_t*>(list->mBuffers[0].mData);
        for (std::int32_t i = 0; i < frames * 2; ++i)
            samples[i] = static_cast<std::int16_t>(m_value += 37);
        list->mBuffers[0].mDataByteSize = static_cast<std::uint32_t>(frames) * 4;
        m_left -= frames;
        return frames;
    }

private:
    std::int64_t m_left;
    bool m_prepares;
    std::int16_t m_value = 0;
};

/// What a test wants to go wrong while a file is written.
struct OutputFaults {
    int failingWrite = 0; ///< the number of the write that comes short, from 1
    bool failSeek = false;
    bool failClose = false;
};

/// The real file, but for the operation that is told to fail.
class FaultyFile final : public FileInPlace {
public:
    FaultyFile(std::unique_ptr<FileInPlace> file, OutputFaults faults)
        : m_file(std::move(file))
        , m_faults(faults)
    {
    }
    bool write(ByteView bytes) override { return ++m_writes != m_faults.failingWrite && m_file->write(bytes); }
    bool seek(std::uint64_t offset) override { return !m_faults.failSeek && m_file->seek(offset); }
    bool close() override { return m_file->close() && !m_faults.failClose; }

private:
    std::unique_ptr<FileInPlace> m_file;
    OutputFaults m_faults;
    int m_writes = 0;
};

/// The real place, whose file is one that fails.
class FaultyPlace final : public OutputPlace {
public:
    FaultyPlace(const Path& path, OutputFaults faults)
        : OutputPlace(path)
        , m_place(OutputPlace::at(path))
        , m_faults(faults)
    {
    }
    Result<FileAttributes> attributes() const override { return m_place->attributes(); }
    bool canHoldFile() const override { return m_place->canHoldFile(); }
    Result<void> clear() override { return m_place->clear(); }
    Result<std::unique_ptr<OutputFile>> create() override { return m_place->create(); }
    std::unique_ptr<EditableFile> edit() override { return m_place->edit(); }
    UniqueFd openDescriptorInPlace(const OpenedFile& input) override { return m_place->openDescriptorInPlace(input); }
    std::unique_ptr<FileInPlace> openInPlace(const OpenedFile& input) override
    {
        auto file = m_place->openInPlace(input);
        return file ? std::make_unique<FaultyFile>(std::move(file), m_faults) : nullptr;
    }

private:
    SharedPlace m_place;
    OutputFaults m_faults;
};

/// Writes down every message, with what the test wants to answer.
class WatchedDelegate final : public MVAudioEncoderDelegate {
public:
    std::vector<std::string> messages; ///< without shouldEncodeStop
    std::vector<float> percents;
    int questions = 0;
    int stopAtQuestion = 0; ///< from 1
    std::vector<std::thread::id> threads;
    std::function<void()> onStart;

    void encoderDidStart(MVAudioEncoderBase&) override
    {
        note("start");
        if (onStart)
            onStart();
    }
    bool shouldEncodeStop() override
    {
        threads.push_back(std::this_thread::get_id());
        return ++questions == stopAtQuestion;
    }
    void encoderProgress(MVAudioEncoderBase&, float percent) override
    {
        note("progress");
        percents.push_back(percent);
    }
    void encoderDidFailWithError(MVAudioEncoderBase&, const NSError& error) override
    {
        note("fail " + error.domain + " " + std::to_string(error.code));
    }
    void encoderDidEnd(MVAudioEncoderBase&) override { note("end"); }

    std::vector<std::string> withoutProgress() const
    {
        std::vector<std::string> rest;
        for (const std::string& message : messages)
            if (message != "progress")
                rest.push_back(message);
        return rest;
    }

private:
    void note(const std::string& message)
    {
        messages.push_back(message);
        threads.push_back(std::this_thread::get_id());
    }
};

} // namespace mv::test
