#pragma once

#include "pictures/PictureReader.h"
#include "pictures/Resampler.h"

namespace mv::fuzz {

// Larger pictures take long without showing anything new.
inline constexpr std::int64_t MaxPixels = 1 << 20;

/// Decodes the first picture of one reader, shrunk and from the top.
template <class Reader> int decodeWith(const std::uint8_t* data, std::size_t size)
{
    auto readers = Reader::open(sourceOfBytes(Bytes(data, data + size)));
    if (!readers)
        return 0;
    PictureReader& reader = *readers->front();
    if (std::int64_t { reader.header().width } * reader.header().height > MaxPixels)
        return 0;
    Resampler small(10, 10);
    if (reader.decode(10, 10, small))
        (void)small.finish();
    Resampler same(reader.header().width, reader.header().height);
    if (reader.decodeTop(1, same))
        (void)same.finish();
    return 0;
}

} // namespace mv::fuzz
