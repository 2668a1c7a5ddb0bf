#include "pictures/Inflater.h"

#include <isa-l/igzip_lib.h>

namespace mv {

struct Inflater::State {
    inflate_state stream {};
    bool usable = true;
};

Inflater::Inflater()
    : m_state(std::make_unique<State>())
{
    isal_inflate_init(&m_state->stream);
    m_state->stream.crc_flag = ISAL_ZLIB;
}

Inflater::~Inflater() = default;

bool Inflater::wantsInput() const { return m_state->stream.avail_in == 0; }

void Inflater::giveInput(ByteView bytes)
{
    m_state->stream.next_in = const_cast<std::uint8_t*>(bytes.data());
    m_state->stream.avail_in = static_cast<std::uint32_t>(bytes.size());
}

std::size_t Inflater::inflate(std::span<std::uint8_t> target)
{
    inflate_state& stream = m_state->stream;
    stream.next_out = target.data();
    stream.avail_out = static_cast<std::uint32_t>(target.size());
    if (!m_state->usable)
        return 0;
    int status = isal_inflate(&stream);
    // Otherwise the end, or damage: what came out before still counts.
    m_state->usable = (status == ISAL_DECOMP_OK || status == ISAL_END_INPUT) && stream.block_state != ISAL_BLOCK_FINISH;
    return target.size() - stream.avail_out;
}

} // namespace mv
