#include "audio/WaveSource.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t BlockBytes = 1 << 16;
constexpr std::uint32_t PackedBytes = 3;

} // namespace

std::unique_ptr<AudioSource> WaveSource::open(SharedSource file)
{
    auto wave = WaveFile::read(*file);
    if (!wave)
        return nullptr;
    return std::unique_ptr<AudioSource>(new WaveSource(std::move(file), *wave));
}

WaveSource::WaveSource(SharedSource file, const WaveFile& wave)
    : m_file(std::move(file))
    , m_wave(wave)
    , m_frameBytes(wave.sampleBytes * wave.format.description.mChannelsPerFrame)
    , m_block(BlockBytes / m_frameBytes * m_frameBytes)
    , m_wide(wave.sampleBytes == PackedBytes ? m_block.size() / PackedBytes : 0)
    , m_plane(m_wide.empty() ? m_block.data() : reinterpret_cast<const std::uint8_t*>(m_wide.data()))
{
}

Result<DecodedFrames> WaveSource::next()
{
    auto left = static_cast<std::uint64_t>(m_wave.format.frames - m_done) * m_frameBytes;
    auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, m_block.size()));
    std::uint64_t place = m_wave.start + static_cast<std::uint64_t>(m_done) * m_frameBytes;
    auto got = m_file->readAt(place, { m_block.data(), wanted });
    if (!got)
        return Error { Error::Kind::Io, got.error().text, ioErr };
    std::size_t frames = *got / m_frameBytes; // fewer where the file ends before its size
    if (!m_wide.empty())
        widen(frames * m_wave.format.description.mChannelsPerFrame);
    m_done += static_cast<std::int64_t>(frames);
    return DecodedFrames { m_wave.kind, false, m_wave.format.description.mChannelsPerFrame,
        static_cast<std::uint32_t>(frames), &m_plane };
}

void WaveSource::widen(std::size_t samples)
{
    const std::uint8_t* from = m_block.data();
    for (std::size_t i = 0; i < samples; ++i, from += PackedBytes)
        m_wide[i] = static_cast<std::int32_t>(
            std::uint32_t { from[0] } << 8 | std::uint32_t { from[1] } << 16 | std::uint32_t { from[2] } << 24);
}

} // namespace mv
