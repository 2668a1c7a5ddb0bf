#include "id3/Unpacking.h"

#include <cstring>
#include <zlib.h>

namespace mv {

namespace {

/// Calls `visit` with the place of every byte that lies behind an FF; ends when it returns true.
template <class Visit> bool anyBehindFF(ByteView bytes, Visit visit)
{
    const std::uint8_t* begin = bytes.data();
    const std::uint8_t* end = begin + bytes.size();
    while (begin < end) {
        auto* found = static_cast<const std::uint8_t*>(std::memchr(begin, 0xFF, static_cast<std::size_t>(end - begin)));
        if (!found || found + 1 >= end)
            return false;
        if (visit(found[1]))
            return true;
        begin = found + 1;
    }
    return false;
}

} // namespace

bool isUnsynchronised(ByteView bytes)
{
    return !anyBehindFF(bytes, [](std::uint8_t byte) { return byte >= 0xE0; });
}

bool needsResynchronising(ByteView bytes)
{
    return anyBehindFF(bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::size_t undoUnsynchronisation(std::span<std::uint8_t> bytes)
{
    std::size_t to = 0;
    for (std::size_t from = 0; from < bytes.size(); ++from) {
        std::uint8_t byte = bytes[from];
        bytes[to++] = byte;
        if (byte == 0xFF && from + 1 < bytes.size() && bytes[from + 1] == 0)
            ++from;
    }
    return to;
}

std::optional<Bytes> inflateExactly(ByteView packed, std::size_t length, std::size_t limit)
{
    // Deflate packs at best 1032 to 1; whoever claims more would only have memory cleared.
    constexpr std::size_t MaxRatio = 1032;
    if (length > limit || length / MaxRatio > packed.size())
        return std::nullopt;
    Bytes bytes(length);
    uLongf got = length;
    uLong used = packed.size();
    std::uint8_t spare = 0;
    int status = uncompress2(length ? bytes.data() : &spare, &got, packed.data(), &used);
    if (status != Z_OK || got != length)
        return std::nullopt;
    return bytes;
}

} // namespace mv
