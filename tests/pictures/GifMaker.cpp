#include "tests/pictures/GifMaker.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <utility>

namespace mv::test {

namespace {

/// Codes of nine bits without any real compression: the table is cleared before it grows to ten.
Bytes lzwOf(const std::vector<int>& indices, std::size_t blockBytes)
{
    Bytes data;
    std::uint32_t pool = 0;
    int bits = 0;
    auto put = [&](std::uint32_t code) {
        pool |= code << bits;
        for (bits += 9; bits >= 8; bits -= 8, pool >>= 8)
            data.push_back(static_cast<std::uint8_t>(pool));
    };
    for (std::size_t i = 0; i < indices.size(); ++i) {
        if (i % 200 == 0)
            put(256);
        put(static_cast<std::uint32_t>(indices[i]));
    }
    put(257);
    data.push_back(static_cast<std::uint8_t>(pool));
    Bytes blocks { 8 };
    for (std::size_t start = 0; start < data.size(); start += blockBytes) {
        std::size_t count = std::min(blockBytes, data.size() - start);
        blocks.push_back(static_cast<std::uint8_t>(count));
        blocks.insert(blocks.end(), data.begin() + static_cast<std::ptrdiff_t>(start),
            data.begin() + static_cast<std::ptrdiff_t>(start + count));
    }
    blocks.push_back(0);
    return blocks;
}

} // namespace

Bytes makeGif(const GifWish& wish)
{
    Bytes file;
    ByteWriter writer(file);
    writer.text("GIF89a");
    writer.u16le(static_cast<std::uint16_t>(wish.screenWidth));
    writer.u16le(static_cast<std::uint16_t>(wish.screenHeight));
    writer.bytes(Bytes { 0xF7, 0, 0 });
    Bytes palette = wish.palette;
    palette.resize(768);
    writer.bytes(palette);
    writer.bytes(bytesOf("\x21\xFE\x07"
                         "comment"
        + std::string(1, '\0')));
    if (wish.transparentIndex >= 0)
        writer.bytes(Bytes { 0x21, 0xF9, 4, 1, 0, 0, static_cast<std::uint8_t>(wish.transparentIndex), 0 });
    writer.u8(0x2C);
    for (int value : { wish.x, wish.y, wish.width, wish.height })
        writer.u16le(static_cast<std::uint16_t>(value));
    writer.u8(wish.interlaced ? 0x40 : 0);
    std::vector<int> indices;
    auto appendRow = [&](int y) {
        for (int x = 0; x < wish.width; ++x)
            indices.push_back(wish.index(x, y));
    };
    if (wish.interlaced) {
        for (auto [first, step] : { std::pair { 0, 8 }, std::pair { 4, 8 }, std::pair { 2, 4 }, std::pair { 1, 2 } }) {
            for (int y = first; y < wish.height; y += step)
                appendRow(y);
        }
    } else {
        for (int y = 0; y < wish.height; ++y)
            appendRow(y);
    }
    writer.bytes(lzwOf(indices, wish.blockBytes));
    writer.u8(0x3B);
    return file;
}

} // namespace mv::test
