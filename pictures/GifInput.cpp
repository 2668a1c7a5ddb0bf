#include "pictures/GifInput.h"

#include <algorithm>
#include <cstring>

namespace mv {

namespace {

constexpr std::size_t BufferBytes = 16u << 10;
// Comments and loop counts before the first frame; each costs a read.
constexpr int MaxBlocks = 100'000;

Error withoutFrame() { return { Error::Kind::Format, "a GIF without a frame" }; }

/// With its colours. What the library then failed on is the number of bits behind it: the size of such a frame is
/// known, its pixels are not.
bool isWholeDescriptor(const ByteSource& source, std::uint64_t offset)
{
    constexpr std::uint64_t DescriptorBytes = 9;
    auto descriptor = source.bytesAt(offset, DescriptorBytes);
    if (!descriptor)
        return false;
    std::uint8_t flags = descriptor->back();
    std::uint64_t colorBytes = flags & 0x80 ? std::uint64_t { 6 } << (flags & 7) : 0;
    return offset + DescriptorBytes + colorBytes <= source.size();
}

} // namespace

Result<std::unique_ptr<GifInput>> GifInput::open(const ByteSource& source)
{
    std::unique_ptr<GifInput> input(new GifInput(source));
    input->m_gif.reset(DGifOpen(input.get(), readFor, nullptr));
    if (!input->m_gif)
        return withoutFrame();
    MV_TRY_VOID(input->findFrame());
    return input;
}

int GifInput::readFor(GifFileType* gif, GifByteType* target, int count)
{
    return static_cast<GifInput*>(gif->UserData)->read({ target, static_cast<std::size_t>(count) });
}

std::size_t GifInput::left() const
{
    std::uint64_t size = m_source.size();
    return m_buffer.size() - m_used + static_cast<std::size_t>(size > m_offset ? size - m_offset : 0);
}

int GifInput::read(std::span<std::uint8_t> target)
{
    std::size_t done = 0;
    while (done < target.size()) {
        if (m_used == m_buffer.size()) {
            m_buffer.resize(BufferBytes);
            m_buffer.resize(m_source.readUpTo(m_offset, m_buffer));
            m_offset += m_buffer.size();
            m_used = 0;
            if (m_buffer.empty())
                break;
        }
        std::size_t part = std::min(target.size() - done, m_buffer.size() - m_used);
        std::memcpy(&target[done], &m_buffer[m_used], part);
        m_used += part;
        done += part;
    }
    return static_cast<int>(m_inPixels && isBlockLength() ? readLength(target, done) : done);
}

/// Whether it is a length that the library has read among the pixels: it reads one, and then at once as many bytes.
bool GifInput::isBlockLength()
{
    m_readsLength = !m_readsLength;
    return m_readsLength;
}

/// The library drops a block that the file's end cuts off. A length that says what is there, and nothing for the end,
/// keep the pixels up to the last byte.
std::size_t GifInput::readLength(std::span<std::uint8_t> target, std::size_t done)
{
    target[0] = done == 0 ? std::uint8_t { 0 } : static_cast<std::uint8_t>(std::min<std::size_t>(target[0], left()));
    // An empty block has no content.
    m_readsLength = target[0] != 0;
    return 1;
}

/// Stops behind the descriptor; the last graphic control before it is the frame's.
Result<void> GifInput::findFrame()
{
    for (int blocks = 0; blocks < MaxBlocks; ++blocks) {
        GifRecordType type = UNDEFINED_RECORD_TYPE;
        if (DGifGetRecordType(m_gif.get(), &type) != GIF_OK)
            return withoutFrame();
        if (type == IMAGE_DESC_RECORD_TYPE) {
            std::uint64_t start = m_offset - (m_buffer.size() - m_used);
            m_inPixels = DGifGetImageHeader(m_gif.get()) == GIF_OK;
            return m_inPixels || isWholeDescriptor(m_source, start) ? Result<void>() : withoutFrame();
        }
        if (type != EXTENSION_RECORD_TYPE || !passExtension(blocks))
            return withoutFrame();
    }
    return Error { Error::Kind::Limit, "a GIF without a frame" };
}

bool GifInput::passExtension(int& blocks)
{
    int code = 0;
    GifByteType* block = nullptr; // its length, then its content
    if (DGifGetExtension(m_gif.get(), &code, &block) != GIF_OK)
        return false;
    if (code == GRAPHICS_EXT_FUNC_CODE && block && block[0] >= 4)
        m_transparentIndex = block[1] & 1 ? block[4] : -1;
    for (; block && blocks < MaxBlocks; ++blocks) {
        if (DGifGetExtensionNext(m_gif.get(), &block) != GIF_OK)
            return false;
    }
    return true;
}

} // namespace mv
