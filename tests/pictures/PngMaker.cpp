#include "tests/pictures/PngMaker.h"

#include "Base/Core/ByteReader.h"
#include "tests/support/PngChunk.h"

#include <algorithm>
#include <cstdlib>
#include <zlib.h>

namespace mv::test {

namespace {

Bytes deflated(ByteView bytes)
{
    uLongf size = compressBound(static_cast<uLong>(bytes.size()));
    Bytes result(size);
    compress2(result.data(), &size, bytes.data(), static_cast<uLong>(bytes.size()), 6);
    result.resize(size);
    return result;
}

int pngChannels(int colorType) { return colorType == 2 ? 3 : colorType == 4 ? 2 : colorType == 6 ? 4 : 1; }

Bytes packedRow(const PngWish& wish, int y, int x0, int dx)
{
    Bytes row;
    int bits = 0;
    int pool = 0;
    for (int x = x0; x < wish.width; x += dx) {
        for (int c = 0; c < pngChannels(wish.colorType); ++c) {
            int value = wish.sample(x, y, c);
            if (wish.depth == 16)
                row.push_back(static_cast<std::uint8_t>(value >> 8));
            if (wish.depth >= 8) {
                row.push_back(static_cast<std::uint8_t>(value));
                continue;
            }
            pool = pool << wish.depth | value;
            bits += wish.depth;
            if (bits == 8) {
                row.push_back(static_cast<std::uint8_t>(pool));
                bits = pool = 0;
            }
        }
    }
    if (bits > 0)
        row.push_back(static_cast<std::uint8_t>(pool << (8 - bits)));
    return row;
}

Bytes filteredRow(const Bytes& row, const Bytes& above, int filter, std::size_t distance)
{
    Bytes result { static_cast<std::uint8_t>(filter) };
    for (std::size_t i = 0; i < row.size(); ++i) {
        int left = i >= distance ? row[i - distance] : 0;
        int up = above[i];
        int corner = i >= distance ? above[i - distance] : 0;
        int p = left + up - corner;
        int nearest = std::abs(p - left) <= std::abs(p - up) && std::abs(p - left) <= std::abs(p - corner) ? left
            : std::abs(p - up) <= std::abs(p - corner)                                                     ? up
                                                                                                           : corner;
        const int guesses[] { 0, left, up, (left + up) / 2, nearest };
        result.push_back(static_cast<std::uint8_t>(row[i] - guesses[filter]));
    }
    return result;
}

void appendPass(const PngWish& wish, int x0, int y0, int dx, int dy, Bytes& data)
{
    if (x0 >= wish.width)
        return;
    std::size_t distance = static_cast<std::size_t>(std::max(1, pngChannels(wish.colorType) * wish.depth / 8));
    Bytes above;
    int count = 0;
    for (int y = y0; y < wish.height; y += dy) {
        Bytes row = packedRow(wish, y, x0, dx);
        above.resize(row.size());
        Bytes filtered = filteredRow(row, above, wish.filter == 5 ? count++ % 5 : wish.filter, distance);
        data.insert(data.end(), filtered.begin(), filtered.end());
        above = row;
    }
}

} // namespace

Bytes makePng(const PngWish& wish)
{
    Bytes file { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n' };
    Bytes header;
    ByteWriter writer(header);
    writer.u32be(static_cast<std::uint32_t>(wish.headerWidth ? wish.headerWidth : wish.width));
    writer.u32be(static_cast<std::uint32_t>(wish.headerHeight ? wish.headerHeight : wish.height));
    for (int value : { wish.depth, wish.colorType, 0, 0, wish.interlaced ? 1 : 0 })
        writer.u8(static_cast<std::uint8_t>(value));
    appendPngChunk(file, "IHDR", header);
    if (!wish.profile.empty()) {
        Bytes content { 'p', 0, 0 };
        Bytes compressed = deflated(wish.profile);
        content.insert(content.end(), compressed.begin(), compressed.end());
        appendPngChunk(file, "iCCP", content);
    }
    if (!wish.palette.empty())
        appendPngChunk(file, "PLTE", wish.palette);
    if (!wish.transparency.empty())
        appendPngChunk(file, "tRNS", wish.transparency);
    Bytes data;
    if (wish.interlaced) {
        constexpr int Passes[7][4] = { { 0, 0, 8, 8 }, { 4, 0, 8, 8 }, { 0, 4, 4, 8 }, { 2, 0, 4, 4 }, { 0, 2, 2, 4 },
            { 1, 0, 2, 2 }, { 0, 1, 1, 2 } };
        for (const auto& pass : Passes)
            appendPass(wish, pass[0], pass[1], pass[2], pass[3], data);
    } else {
        appendPass(wish, 0, 0, 1, 1, data);
    }
    // Several chunks, as real files have them.
    Bytes compressed = deflated(data);
    for (std::size_t start = 0; start < compressed.size(); start += 1000)
        appendPngChunk(
            file, "IDAT", ByteView(compressed).subspan(start, std::min<std::size_t>(1000, compressed.size() - start)));
    appendPngChunk(file, "IEND", {});
    return file;
}

} // namespace mv::test
