#pragma once

#include "system/ByteSource.h"

#include <bit>
#include <cstring>

namespace mv {

/// The bits of a JPEG scan's data, most significant first, stuffed bytes taken out. Behind a marker or the end of the
/// file come zeros without end. The source must outlive it.
class JpegBitReader {
public:
    /// Starts with the byte at `offset`.
    JpegBitReader(const ByteSource& source, std::uint64_t offset);

    /// The bits that are ready, apart, so that tight loops keep them in registers: taken with pool(), given back with
    /// setPool().
    struct Pool {
        std::uint64_t bits = 0; ///< the next one on top
        int count = 0; ///< made up ones included

        /// `size` is 1 to 16, of the bits that are ready.
        unsigned peek(int size) const { return static_cast<unsigned>(bits >> (64 - size)); }
        void drop(int size)
        {
            bits <<= size;
            count -= size;
        }
        unsigned take(int size)
        {
            unsigned value = peek(size);
            drop(size);
            return value;
        }
        /// A number as JPEG stores it behind a code: 0 to 16 bits, without a leading 0 for what is positive.
        int signedNumber(int size)
        {
            // Without branches, which random data would make the processor guess wrong.
            int value = static_cast<int>(bits >> 1 >> (63 - size));
            int half = (1 << size) >> 1;
            drop(size);
            return value + ((value - half) >> 31 & (1 - (1 << size)));
        }
    };
    Pool pool() const { return m_pool; }
    void setPool(Pool pool) { m_pool = pool; }
    /// Makes at least 32 bits ready: a code of 16 and what follows it.
    void refill(Pool& pool)
    {
        if (pool.count <= 32)
            pool = refilled(pool.bits, pool.count);
    }
    /// True once bits were taken that the file does not have here.
    bool ranDry() const { return m_madeUp > m_pool.count; }
    /// True when the file ended, as opposed to a marker in the way.
    bool fileEnded() const { return m_fileEnded; }

    /// True when nothing can come any more: the file ended, or a marker that is no restart.
    bool isOver() const { return ranDry() && (m_fileEnded || m_isLast); }

    /// Goes on behind the restart marker of this number (0 to 7), passing over damaged data. False when it is not
    /// found; the data of this interval are then lost, but a later one may be found.
    bool restart(int number);
    /// The place of the marker that ends the data, or as far as was read.
    std::uint64_t position() const { return m_base + m_next; }

private:
    Pool refilled(std::uint64_t poolBits, int poolCount);
    Pool refilledByBytes(Pool pool);
    bool makeReady(std::size_t count);
    int findMarker();

    const ByteSource& m_source;
    Bytes m_window;
    std::uint64_t m_base = 0;
    std::size_t m_next = 0;
    std::size_t m_end = 0;
    Pool m_pool;
    int m_madeUp = 0;
    bool m_atMarker = false;
    bool m_isLast = false; ///< the marker is no restart
    bool m_fileEnded = false;
};

} // namespace mv
