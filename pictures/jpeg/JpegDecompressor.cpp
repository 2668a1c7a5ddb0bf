#include "pictures/jpeg/JpegDecompressor.h"

#include "Base/Core/Handle.h"

#include <algorithm>
#include <cstdlib>
#include <jerror.h>
#include <memory>

namespace mv {

namespace {

constexpr std::size_t BufferBytes = 64u << 10;
constexpr std::array<std::uint8_t, 2> EndOfImage { 0xFF, 0xD9 };

void ignoreMessage(j_common_ptr) { }
void ignoreState(j_decompress_ptr) { }

} // namespace

JpegDecompressor::JpegDecompressor(const ByteSource& source)
    : m_source(source)
    , m_buffer(BufferBytes)
{
    m_state.err = jpeg_std_error(&m_errors.manager);
    m_errors.manager.error_exit = failed;
    m_errors.manager.output_message = ignoreMessage;
    m_errors.manager.emit_message = noteWarning;
    m_errors.owner = this;
    m_progress.progress_monitor = watchScans;
    m_input.manager.init_source = ignoreState;
    m_input.manager.fill_input_buffer = fillBuffer;
    m_input.manager.skip_input_data = skipBytes;
    m_input.manager.resync_to_restart = jpeg_resync_to_restart;
    m_input.manager.term_source = ignoreState;
    m_input.owner = this;
    m_created = create();
}

JpegDecompressor::~JpegDecompressor() { jpeg_destroy_decompress(&m_state); }

bool JpegDecompressor::create()
{
    if (setjmp(m_errors.jump))
        return false;
    jpeg_create_decompress(&m_state);
    m_state.mem->max_memory_to_use = MaxJpegMemory;
    m_state.src = &m_input.manager;
    m_state.progress = &m_progress;
    return true;
}

void JpegDecompressor::patch(std::uint64_t offset, std::array<std::uint8_t, 2> bytes)
{
    m_patchOffset = offset;
    m_patch = bytes;
}

bool JpegDecompressor::keepProfile()
{
    if (!m_created || setjmp(m_errors.jump))
        return false;
    jpeg_save_markers(&m_state, JPEG_APP0 + 2, 0xFFFF);
    return true;
}

bool JpegDecompressor::readHeader()
{
    if (!m_created || setjmp(m_errors.jump))
        return false;
    return jpeg_read_header(&m_state, TRUE) == JPEG_HEADER_OK;
}

bool JpegDecompressor::start()
{
    if (setjmp(m_errors.jump))
        return false;
    return jpeg_start_decompress(&m_state) == TRUE;
}

int JpegDecompressor::readRows(JSAMPROW* rows, int count)
{
    if (setjmp(m_errors.jump))
        return -1;
    if (m_state.output_scanline >= m_state.output_height)
        return 0;
    return static_cast<int>(jpeg_read_scanlines(&m_state, rows, static_cast<JDIMENSION>(count)));
}

bool JpegDecompressor::readProfile(JOCTET** data, unsigned* length)
{
    if (setjmp(m_errors.jump))
        return false;
    return jpeg_read_icc_profile(&m_state, data, length) == TRUE;
}

Bytes JpegDecompressor::profile()
{
    JOCTET* data = nullptr;
    unsigned length = 0;
    if (!readProfile(&data, &length))
        return {};
    std::unique_ptr<JOCTET, CloseWith<std::free>> owner(data);
    return Bytes(data, data + length);
}

void JpegDecompressor::failed(j_common_ptr state) { std::longjmp(reinterpret_cast<Errors*>(state->err)->jump, 1); }

void JpegDecompressor::noteWarning(j_common_ptr state, int level)
{
    if (level < 0 && state->err->msg_code == JWRN_HIT_MARKER)
        reinterpret_cast<Errors*>(state->err)->owner->m_ranDry = true;
}

void JpegDecompressor::watchScans(j_common_ptr state)
{
    if (state->is_decompressor && reinterpret_cast<j_decompress_ptr>(state)->input_scan_number > MaxJpegScans)
        failed(state);
}

std::size_t JpegDecompressor::refill()
{
    std::size_t count = m_source.readUpTo(m_position, m_buffer);
    for (std::size_t i = 0; i < m_patch.size(); ++i) {
        std::uint64_t place = m_patchOffset + i;
        if (m_patchOffset != UINT64_MAX && place >= m_position && place < m_position + count)
            m_buffer[static_cast<std::size_t>(place - m_position)] = m_patch[i];
    }
    m_position += count;
    return count;
}

boolean JpegDecompressor::fillBuffer(j_decompress_ptr state)
{
    Input* input = reinterpret_cast<Input*>(state->src);
    std::size_t count = input->owner->refill();
    // Where the data ends early, the library fills the rest of the picture by itself when it sees the end marker.
    input->owner->m_inputEnded = count == 0;
    input->manager.next_input_byte = count ? input->owner->m_buffer.data() : EndOfImage.data();
    input->manager.bytes_in_buffer = count ? count : EndOfImage.size();
    return TRUE;
}

void JpegDecompressor::skipBytes(j_decompress_ptr state, long count)
{
    if (count <= 0)
        return;
    Input* input = reinterpret_cast<Input*>(state->src);
    std::size_t distance = static_cast<std::size_t>(count);
    std::size_t here = std::min(distance, input->manager.bytes_in_buffer);
    input->manager.next_input_byte += here;
    input->manager.bytes_in_buffer -= here;
    input->owner->m_position += distance - here;
}

} // namespace mv
