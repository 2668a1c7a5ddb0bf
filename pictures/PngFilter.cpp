#include "pictures/PngFilter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace mv {

namespace {

enum Filter { None, Sub, Up, Average, Paeth };

std::uint8_t paeth(int left, int up, int corner)
{
    int byLeft = std::abs(up - corner);
    int byUp = std::abs(left - corner);
    int byCorner = std::abs(left + up - 2 * corner);
    if (byLeft <= byUp && byLeft <= byCorner)
        return static_cast<std::uint8_t>(left);
    return static_cast<std::uint8_t>(byUp <= byCorner ? up : corner);
}

void undoUp(std::uint8_t* __restrict row, const std::uint8_t* __restrict above, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

void undoPlain(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t count, std::size_t distance)
{
    for (std::size_t i = 0; i < count; ++i) {
        int left = i < distance ? 0 : row[i - distance];
        int corner = i < distance ? 0 : above[i - distance];
        int guess = filter == Sub ? left : filter == Average ? (left + above[i]) / 2 : paeth(left, above[i], corner);
        row[i] = static_cast<std::uint8_t>(row[i] + guess);
    }
}

#if defined(__SSE2__)

// A pixel at a time: each depends on the one before, so the channels are what can be done at once. Loads take a whole
// word, which is why rows have slack; putting 3 or 6 bytes together first costs more than all the rest.
template <std::size_t Distance> __m128i loadPixel(const std::uint8_t* from)
{
    std::conditional_t<(Distance > 4), std::uint64_t, std::uint32_t> value;
    std::memcpy(&value, from, sizeof value);
    return _mm_cvtsi64_si128(static_cast<long long>(value));
}

template <std::size_t Distance> void storePixel(std::uint8_t* to, __m128i pixel)
{
    std::uint64_t value = static_cast<std::uint64_t>(_mm_cvtsi128_si64(pixel));
    std::memcpy(to, &value, Distance);
}

template <std::size_t Distance> void undoSub(std::uint8_t* row, std::size_t count)
{
    __m128i left = _mm_setzero_si128();
    for (std::size_t i = 0; i + Distance <= count; i += Distance) {
        left = _mm_add_epi8(left, loadPixel<Distance>(row + i));
        storePixel<Distance>(row + i, left);
    }
}

template <std::size_t Distance> void undoAverage(std::uint8_t* row, const std::uint8_t* above, std::size_t count)
{
    const __m128i one = _mm_set1_epi8(1);
    __m128i left = _mm_setzero_si128();
    for (std::size_t i = 0; i + Distance <= count; i += Distance) {
        __m128i up = loadPixel<Distance>(above + i);
        // The instruction rounds up, the filter down.
        __m128i rounded = _mm_avg_epu8(left, up);
        __m128i guess = _mm_sub_epi8(rounded, _mm_and_si128(_mm_xor_si128(left, up), one));
        left = _mm_add_epi8(loadPixel<Distance>(row + i), guess);
        storePixel<Distance>(row + i, left);
    }
}

__m128i absolute(__m128i value) { return _mm_max_epi16(value, _mm_sub_epi16(_mm_setzero_si128(), value)); }

__m128i choose(__m128i mask, __m128i yes, __m128i no)
{
    return _mm_or_si128(_mm_and_si128(mask, yes), _mm_andnot_si128(mask, no));
}

template <std::size_t Distance> void undoPaeth(std::uint8_t* row, const std::uint8_t* above, std::size_t count)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128i lowBytes = _mm_set1_epi16(0xFF);
    __m128i left = zero;
    __m128i corner = zero;
    for (std::size_t i = 0; i + Distance <= count; i += Distance) {
        __m128i up = _mm_unpacklo_epi8(loadPixel<Distance>(above + i), zero);
        __m128i byLeft = _mm_sub_epi16(up, corner);
        __m128i byUp = _mm_sub_epi16(left, corner);
        __m128i byCorner = absolute(_mm_add_epi16(byLeft, byUp));
        byLeft = absolute(byLeft);
        byUp = absolute(byUp);
        __m128i smallest = _mm_min_epi16(byCorner, _mm_min_epi16(byLeft, byUp));
        __m128i guess
            = choose(_mm_cmpeq_epi16(smallest, byLeft), left, choose(_mm_cmpeq_epi16(smallest, byUp), up, corner));
        __m128i value = _mm_unpacklo_epi8(loadPixel<Distance>(row + i), zero);
        left = _mm_and_si128(_mm_add_epi16(value, guess), lowBytes);
        corner = up;
        storePixel<Distance>(row + i, _mm_packus_epi16(left, left));
    }
}

template <std::size_t Distance>
void undoPixels(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t count)
{
    if (filter == Sub)
        undoSub<Distance>(row, count);
    else if (filter == Average)
        undoAverage<Distance>(row, above, count);
    else
        undoPaeth<Distance>(row, above, count);
}

#endif

} // namespace

bool undoPngFilter(int filter, std::uint8_t* row, const std::uint8_t* above, std::size_t count, std::size_t distance)
{
    if (filter == None)
        return true;
    if (filter > Paeth)
        return false;
    if (filter == Up) {
        undoUp(row, above, count);
        return true;
    }
#if defined(__SSE2__)
    switch (distance) {
    case 3:
        undoPixels<3>(filter, row, above, count);
        return true;
    case 4:
        undoPixels<4>(filter, row, above, count);
        return true;
    case 6:
        undoPixels<6>(filter, row, above, count);
        return true;
    case 8:
        undoPixels<8>(filter, row, above, count);
        return true;
    default:
        break;
    }
#endif
    undoPlain(filter, row, above, count, distance);
    return true;
}

} // namespace mv
