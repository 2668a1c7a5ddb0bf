#include "audio/M4aFile.h"

#include "audio/AudioStatus.h"

namespace mv {

namespace {

constexpr std::size_t PacketBufferSize = 256u << 10;

// The outcome of writing to the file, with the status as the error's code.
Result<void> withStatus(const Result<void>& outcome)
{
    if (outcome)
        return {};
    return Error { outcome.error().kind, outcome.error().text, statusOfWriting(outcome.error()) };
}

} // namespace

M4aFile::M4aFile(std::unique_ptr<OutputFile> file, const AacEncoderSettings& settings, const AacEncoder& encoder)
    : m_file(std::move(file))
{
    m_track.sampleRate = settings.rate;
    m_track.channels = settings.channels;
    m_track.bitRate = settings.bitRate;
    m_track.audioSpecificConfig = encoder.audioSpecificConfig();
    m_track.framesPerPacket = encoder.framesPerPacket();
    m_track.primingFrames = encoder.primingFrames();
}

Result<void> M4aFile::append(ByteView packet)
{
    m_track.packetSizes.push_back(static_cast<std::uint32_t>(packet.size()));
    m_packets.insert(m_packets.end(), packet.begin(), packet.end());
    return m_packets.size() >= PacketBufferSize ? flush() : Result<void> {};
}

Result<void> M4aFile::flush()
{
    MV_TRY_VOID(withStatus(m_file->writeAt(m_size, m_packets)));
    m_size += m_packets.size();
    m_packets.clear();
    return {};
}

// The header's size is known only now, and it comes first: the packets make room.
Result<void> M4aFile::finish(std::uint64_t frames)
{
    MV_TRY_VOID(flush());
    m_track.frames = frames;
    m_track.moreRoom = m_file->metadataRoom();
    Bytes header = m4aHeader(m_track);
    MV_TRY_VOID(withStatus(m_file->moveUp(m_size, header.size())));
    MV_TRY_VOID(withStatus(m_file->writeAt(0, header)));
    return withStatus(m_file->commit());
}

} // namespace mv
