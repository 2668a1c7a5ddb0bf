#include "pictures/Inflater.h"

#include <zlib.h>

namespace mv {

struct Inflater::State {
    z_stream stream {};
    bool usable = false;
};

Inflater::Inflater()
    : m_state(std::make_unique<State>())
{
    // The checksum would only be known behind the last row; whatever came before is shown anyway.
    m_state->usable = inflateInit(&m_state->stream) == Z_OK && inflateValidate(&m_state->stream, 0) == Z_OK;
}

Inflater::~Inflater() { inflateEnd(&m_state->stream); }

bool Inflater::wantsInput() const { return m_state->stream.avail_in == 0; }

void Inflater::giveInput(ByteView bytes)
{
    m_state->stream.next_in = const_cast<Bytef*>(bytes.data());
    m_state->stream.avail_in = static_cast<uInt>(bytes.size());
}

std::size_t Inflater::inflate(std::span<std::uint8_t> target)
{
    z_stream& stream = m_state->stream;
    stream.next_out = target.data();
    stream.avail_out = static_cast<uInt>(target.size());
    if (!m_state->usable)
        return 0;
    int status = ::inflate(&stream, Z_NO_FLUSH);
    // Otherwise the end, or damage: what came out before still counts.
    m_state->usable = status == Z_OK || status == Z_BUF_ERROR;
    return target.size() - stream.avail_out;
}

} // namespace mv
