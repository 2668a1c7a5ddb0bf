#include "service/transcode/SampleConversion.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

std::int32_t shifted(std::int32_t value, int bits)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << bits);
}

std::int32_t fromOneByte(const std::uint8_t* from) { return shifted(static_cast<std::int8_t>(*from), 24); }

std::int32_t fromTwoBytes(const std::uint8_t* from)
{
    std::int16_t value;
    std::memcpy(&value, from, sizeof value);
    return shifted(value, 16);
}

// Deliberate: every byte is sign-extended before it is put in, so a lower byte with its top bit set turns the bytes
// above it into ones. Files made from 24-bit sources have sounded so for ever; exact conversion is an attribute.
std::int32_t fromThreeBytes(const std::uint8_t* from)
{
    auto wide = [](std::uint8_t byte) { return static_cast<std::int32_t>(static_cast<std::int8_t>(byte)); };
    std::int32_t value = shifted(wide(from[0]), 8) | wide(from[1]);
    value = shifted(value, 8) | wide(from[2]);
    return shifted(value, 8);
}

std::int32_t fromFourBytes(const std::uint8_t* from)
{
    std::int32_t value;
    std::memcpy(&value, from, sizeof value);
    return value;
}

template <class Load>
void split(
    const std::uint8_t* from, std::size_t width, std::uint32_t frames, std::int32_t (&samples)[2][1152], Load load)
{
    for (std::uint32_t i = 0; i < frames; ++i, from += 2 * width) {
        samples[0][i] = load(from);
        samples[1][i] = load(from + width);
    }
}

} // namespace

std::uint32_t sampleWidth(std::uint32_t byteSize, std::uint32_t frames)
{
    std::uint32_t width = byteSize / frames / 2;
    return width == 0 || width > 3 ? 4 : width;
}

void buildSampleBlock(ByteView area, std::uint32_t byteSize, std::uint32_t frames, std::int32_t (&samples)[2][1152])
{
    if (frames == 0)
        return;
    std::uint32_t width = sampleWidth(byteSize, frames);
    frames = std::min({ frames, std::uint32_t { 1152 }, static_cast<std::uint32_t>(area.size() / (2 * width)) });
    switch (width) {
    case 1:
        return split(area.data(), width, frames, samples, fromOneByte);
    case 2:
        return split(area.data(), width, frames, samples, fromTwoBytes);
    case 3:
        return split(area.data(), width, frames, samples, fromThreeBytes);
    default:
        return split(area.data(), width, frames, samples, fromFourBytes);
    }
}

void buildBufferFrameCountBuffer(const AudioBufferList& list, std::uint32_t frameCount, std::int32_t (&buffer)[2][1152])
{
    const AudioBuffer& from = list.mBuffers[0];
    ByteView area { static_cast<const std::uint8_t*>(from.mData), std::size_t { frameCount } * 8 };
    buildSampleBlock(area, from.mDataByteSize, frameCount, buffer);
}

} // namespace mv
