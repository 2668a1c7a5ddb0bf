#include "audio/PcmConverter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace mv {

namespace {

template <class T> T loadAs(const std::uint8_t* from)
{
    T value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class T> void storeAs(std::uint8_t* to, T value) { std::memcpy(to, &value, sizeof value); }

// Integers travel as 32 bits with their most significant bit on top.
std::int32_t upshifted(std::int32_t value, int shift)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << shift);
}

std::int32_t loadUnsigned8(const std::uint8_t* from) { return upshifted(static_cast<std::int32_t>(*from) - 128, 24); }
std::int32_t loadSigned16(const std::uint8_t* from) { return upshifted(loadAs<std::int16_t>(from), 16); }
std::int32_t loadSigned32(const std::uint8_t* from) { return loadAs<std::int32_t>(from); }
float loadFloat32(const std::uint8_t* from) { return loadAs<float>(from); }
double loadFloat64(const std::uint8_t* from) { return loadAs<double>(from); }

/// The sample at `Bits` bits.
template <int Bits> std::int32_t narrowed(std::int32_t value) { return value >> (32 - Bits); }

// Single precision holds every 16-bit value and its neighbours exactly, and is twice as fast.
template <int Bits>
requires(Bits <= 16) std::int32_t narrowed(float value)
{
    constexpr auto Scale = static_cast<float>(1 << (Bits - 1));
    float scaled = value * Scale;
    if (!(scaled >= -Scale))
        return std::isnan(scaled) ? 0 : -(1 << (Bits - 1));
    return static_cast<std::int32_t>(std::lrintf(std::min(scaled, Scale - 1)));
}

template <int Bits> std::int32_t narrowed(double value)
{
    constexpr auto Scale = static_cast<double>(std::int64_t { 1 } << (Bits - 1));
    double scaled = value * Scale;
    if (!(scaled >= -Scale))
        return std::isnan(scaled) ? 0 : static_cast<std::int32_t>(-Scale);
    return static_cast<std::int32_t>(std::lrint(std::min(scaled, Scale - 1)));
}

template <int Bits>
requires(Bits > 16) std::int32_t narrowed(float value) { return narrowed<Bits>(static_cast<double>(value)); }

float floating(std::int32_t value) { return static_cast<float>(value) * (1.0f / 2147483648.0f); }
float floating(float value) { return value; }
float floating(double value) { return static_cast<float>(value); }

template <class T> void storeSigned8(std::uint8_t* to, T value)
{
    storeAs(to, static_cast<std::int8_t>(narrowed<8>(value)));
}
template <class T> void storeSigned16(std::uint8_t* to, T value)
{
    storeAs(to, static_cast<std::int16_t>(narrowed<16>(value)));
}
template <class T> void storeSigned24(std::uint8_t* to, T value)
{
    auto bits = static_cast<std::uint32_t>(narrowed<24>(value));
    to[0] = static_cast<std::uint8_t>(bits >> 16);
    to[1] = static_cast<std::uint8_t>(bits >> 8);
    to[2] = static_cast<std::uint8_t>(bits);
}
template <class T> void storeSigned32(std::uint8_t* to, T value) { storeAs(to, narrowed<32>(value)); }
template <class T> void storeFloat32(std::uint8_t* to, T value) { storeAs(to, floating(value)); }

bool isIdentity(const MixMatrix& matrix)
{
    for (std::size_t output = 0; output < matrix.size(); ++output)
        for (std::size_t input = 0; input < matrix[output].size(); ++input)
            if (matrix[output][input] != (input == output ? 1.0 : 0.0))
                return false;
    return true;
}

std::size_t sizeOf(SampleKind kind)
{
    switch (kind) {
    case SampleKind::Unsigned8:
        return 1;
    case SampleKind::Signed16:
        return 2;
    case SampleKind::Signed32:
    case SampleKind::Float32:
        return 4;
    case SampleKind::Float64:
        break;
    }
    return 8;
}

} // namespace

struct PcmConverter::Plane {
    const std::uint8_t* data;
    std::size_t stride;
    SampleKind kind;
};

struct PcmConverter::Sink {
    std::uint8_t* data;
    std::size_t stride;
};

OSStatus PcmConverter::check(const AudioSourceFormat& source, const AudioStreamBasicDescription& client)
{
    if (client.mFormatID != kAudioFormatLinearPCM)
        return kExtAudioFileError_NonPCMClientFormat;
    bool isFloat = client.mFormatFlags & kAudioFormatFlagIsFloat;
    std::uint32_t bits = client.mBitsPerChannel;
    bool known = isFloat ? bits == 32 : bits == 8 || bits == 16 || bits == 24 || bits == 32;
    std::uint32_t flags = isFloat ? kAudioFormatFlagIsFloat : kAudioFormatFlagIsSignedInteger;
    if (!isFloat && bits == 24)
        flags |= kAudioFormatFlagIsBigEndian;
    bool channels = client.mChannelsPerFrame == source.description.mChannelsPerFrame || client.mChannelsPerFrame == 1
        || client.mChannelsPerFrame == 2;
    auto expected = linearPcm(source.description.mSampleRate, client.mChannelsPerFrame, bits, flags);
    return known && channels && client == expected ? noErr : kExtAudioFileError_InvalidDataFormat;
}

PcmConverter::PcmConverter(const AudioSourceFormat& source, const AudioStreamBasicDescription& client)
    : m_target(client.mFormatFlags & kAudioFormatFlagIsFloat ? Target::Float32
            : client.mBitsPerChannel == 8                    ? Target::Signed8
            : client.mBitsPerChannel == 16                   ? Target::Signed16
            : client.mBitsPerChannel == 24                   ? Target::Signed24MostFirst
                                                             : Target::Signed32)
    , m_frameSize(client.mBytesPerFrame)
    , m_sampleSize(client.mBytesPerFrame / client.mChannelsPerFrame)
    , m_matrix(mixMatrix(source.description.mChannelsPerFrame, source.channelMask, client.mChannelsPerFrame))
    , m_keepsChannels(isIdentity(m_matrix))
{
}

bool PcmConverter::isTarget(SampleKind kind) const
{
    return (kind == SampleKind::Signed16 && m_target == Target::Signed16)
        || (kind == SampleKind::Signed32 && m_target == Target::Signed32)
        || (kind == SampleKind::Float32 && m_target == Target::Float32);
}

PcmConverter::Plane PcmConverter::planeOf(const DecodedFrames& frames, std::uint32_t channel, std::uint32_t first)
{
    std::size_t sample = sizeOf(frames.kind);
    std::size_t stride = frames.planar ? sample : sample * frames.channels;
    const std::uint8_t* start = frames.planar ? frames.planes[channel] : frames.planes[0] + channel * sample;
    return { start + first * stride, stride, frames.kind };
}

template <class Load> void PcmConverter::store(Load load, std::uint32_t count, const Sink& sink) const
{
    auto each = [&](auto put) {
        std::uint8_t* to = sink.data;
        for (std::uint32_t i = 0; i < count; ++i, to += sink.stride)
            put(to, load(i));
    };
    using Sample = decltype(load(0));
    switch (m_target) {
    case Target::Signed8:
        return each(storeSigned8<Sample>);
    case Target::Signed16:
        return each(storeSigned16<Sample>);
    case Target::Signed24MostFirst:
        return each(storeSigned24<Sample>);
    case Target::Signed32:
        return each(storeSigned32<Sample>);
    case Target::Float32:
        return each(storeFloat32<Sample>);
    }
}

void PcmConverter::convertChannel(const Plane& plane, std::uint32_t count, const Sink& sink) const
{
    auto from
        = [&](auto load) { store([&](std::uint32_t i) { return load(plane.data + i * plane.stride); }, count, sink); };
    switch (plane.kind) {
    case SampleKind::Unsigned8:
        return from(loadUnsigned8);
    case SampleKind::Signed16:
        return from(loadSigned16);
    case SampleKind::Signed32:
        return from(loadSigned32);
    case SampleKind::Float32:
        return from(loadFloat32);
    case SampleKind::Float64:
        return from(loadFloat64);
    }
}

void PcmConverter::mixChannel(const DecodedFrames& frames, std::uint32_t first, std::uint32_t count,
    const std::vector<double>& weights, const Sink& sink)
{
    m_mixed.assign(count, 0.0);
    for (std::uint32_t channel = 0; channel < frames.channels; ++channel) {
        Plane plane = planeOf(frames, channel, first);
        auto add = [&](auto load, double scale) {
            for (std::uint32_t i = 0; i < count; ++i)
                m_mixed[i] += weights[channel] * scale * static_cast<double>(load(plane.data + i * plane.stride));
        };
        constexpr double Unit = 1.0 / 2147483648.0;
        if (plane.kind == SampleKind::Unsigned8)
            add(loadUnsigned8, Unit);
        else if (plane.kind == SampleKind::Signed16)
            add(loadSigned16, Unit);
        else if (plane.kind == SampleKind::Signed32)
            add(loadSigned32, Unit);
        else if (plane.kind == SampleKind::Float32)
            add(loadFloat32, 1);
        else
            add(loadFloat64, 1);
    }
    store([&](std::uint32_t i) { return m_mixed[i]; }, count, sink);
}

void PcmConverter::convert(const DecodedFrames& frames, std::uint32_t first, std::uint32_t count, std::uint8_t* target)
{
    if (m_keepsChannels && !frames.planar && isTarget(frames.kind)) {
        std::memcpy(
            target, frames.planes[0] + std::size_t { first } * m_frameSize, std::size_t { count } * m_frameSize);
        return;
    }
    for (std::size_t output = 0; output < m_matrix.size(); ++output) {
        const std::vector<double>& weights = m_matrix[output];
        Sink sink { target + output * m_sampleSize, m_frameSize };
        auto only = std::find(weights.begin(), weights.end(), 1.0);
        bool copied = only != weights.end()
            && std::count(weights.begin(), weights.end(), 0.0) == static_cast<std::ptrdiff_t>(weights.size()) - 1;
        if (copied)
            convertChannel(planeOf(frames, static_cast<std::uint32_t>(only - weights.begin()), first), count, sink);
        else
            mixChannel(frames, first, count, weights, sink);
    }
}

} // namespace mv
