#pragma once

#include "service/transcode/AudioFileFunctions.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace mv::test {

/// Audio files that are not there: one is read, one is written; every call is noted, any can be made to fail.
class FakeAudioFiles final : public AudioFileFunctions {
public:
    static inline const ExtAudioFileRef Source = reinterpret_cast<ExtAudioFileRef>(0x10);
    static inline const ExtAudioFileRef Destination = reinterpret_cast<ExtAudioFileRef>(0x20);
    static inline const AudioConverterRef Converter = reinterpret_cast<AudioConverterRef>(0x30);

    // The answers.
    double rate = 44100;
    std::uint32_t channels = 2;
    std::int64_t total = 0; ///< announced frames
    std::int64_t available = 0; ///< frames that can be read
    std::map<std::string, OSStatus> failures; ///< by the call's note, until it is taken out
    mutable std::deque<OSStatus> reads; ///< the next reads' statuses; noErr when there is none left

    // What happened.
    mutable std::vector<std::string> calls;
    mutable std::vector<Bytes> written;
    mutable AudioStreamBasicDescription created {};
    mutable std::map<ExtAudioFileRef, AudioStreamBasicDescription> clientFormats;
    mutable std::uint32_t fileType = 0;
    mutable std::uint32_t flags = 0;
    mutable std::uint32_t bitRate = 0;

    OSStatus openURL(const OpenedFile& url, ExtAudioFileRef* file) const override
    {
        return make(file, Source, "open " + url.path().text());
    }
    OSStatus create(OutputPlace& url, std::uint32_t type, const AudioStreamBasicDescription& description,
        std::uint32_t withFlags, ExtAudioFileRef* file) const override
    {
        created = description;
        fileType = type;
        flags = withFlags;
        return make(file, Destination, "create " + url.path().text());
    }
    OSStatus getProperty(ExtAudioFileRef file, std::uint32_t property, std::uint32_t* size, void* data) const override
    {
        OSStatus status = note("get " + fourCharacterText(property) + name(file));
        if (status != noErr)
            return status;
        switch (property) {
        case kExtAudioFileProperty_FileLengthFrames:
            return give(total, size, data);
        case kExtAudioFileProperty_AudioConverter:
            return give(Converter, size, data);
        case kExtAudioFileProperty_ClientDataFormat:
            return give(clientFormats[file], size, data);
        default: {
            AudioStreamBasicDescription format;
            format.mSampleRate = rate;
            format.mChannelsPerFrame = channels;
            return give(format, size, data);
        }
        }
    }
    OSStatus setProperty(
        ExtAudioFileRef file, std::uint32_t property, std::uint32_t size, const void* data) const override
    {
        if (size == sizeof(AudioStreamBasicDescription))
            std::memcpy(&clientFormats[file], data, size);
        return note("set " + fourCharacterText(property) + name(file));
    }
    OSStatus setConverterProperty(
        AudioConverterRef converter, std::uint32_t property, std::uint32_t size, const void* data) const override
    {
        if (converter == Converter && size == sizeof bitRate)
            std::memcpy(&bitRate, data, size);
        return note("converter " + fourCharacterText(property));
    }
    OSStatus read(ExtAudioFileRef file, std::uint32_t* frames, AudioBufferList* data) const override
    {
        OSStatus status = note("read" + name(file));
        if (!reads.empty()) {
            status = reads.front();
            reads.pop_front();
        }
        if (status != noErr)
            return status;
        AudioBuffer& buffer = data->mBuffers[0];
        std::uint32_t frameSize = channels * 4;
        *frames = static_cast<std::uint32_t>(std::min<std::int64_t>(*frames, available - m_position));
        std::memset(buffer.mData, 0x41, std::size_t { *frames } * frameSize);
        buffer.mDataByteSize = *frames * frameSize;
        m_position += *frames;
        return noErr;
    }
    OSStatus write(ExtAudioFileRef file, std::uint32_t frames, const AudioBufferList* data) const override
    {
        const auto* from = static_cast<const std::uint8_t*>(data->mBuffers[0].mData);
        written.emplace_back(from, from + std::size_t { frames } * channels * 4);
        return note("write" + name(file));
    }
    OSStatus dispose(ExtAudioFileRef file) const override { return note("dispose" + name(file)); }

    std::size_t count(const std::string& call) const
    {
        return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), call));
    }
    Bytes allWritten() const
    {
        Bytes all;
        for (const Bytes& part : written)
            all.insert(all.end(), part.begin(), part.end());
        return all;
    }

private:
    static std::string name(ExtAudioFileRef file) { return file == Source ? " source" : " destination"; }
    OSStatus note(const std::string& call) const
    {
        calls.push_back(call);
        auto failure = failures.find(call);
        return failure == failures.end() ? noErr : failure->second;
    }
    OSStatus make(ExtAudioFileRef* file, ExtAudioFileRef made, const std::string& call) const
    {
        OSStatus status = note(call);
        *file = status == noErr ? made : nullptr;
        return status;
    }
    template <class T> static OSStatus give(const T& value, std::uint32_t* size, void* data)
    {
        std::memcpy(data, &value, sizeof value);
        *size = sizeof value;
        return noErr;
    }

    mutable std::int64_t m_position = 0;
};

} // namespace mv::test
