#pragma once

#include "pictures/BmpHeader.h"

namespace mv {

/// The pixels of a run-length coded BMP, scattered row by row from the bottom. Runs that leave the picture are cut
/// off; rows that the code never reaches are not delivered.
class BmpRle {
public:
    BmpRle(const ByteSource& source, const BmpHeader& header);
    void decode(RowSink& sink);

private:
    int nextByte();
    bool step(RowSink& sink);
    bool escape(int code, RowSink& sink);
    bool literal(int count);
    void put(int index);
    void finishRow(RowSink& sink);

    const ByteSource& m_source;
    const BmpHeader& m_header;
    std::uint64_t m_offset;
    Bytes m_window;
    std::size_t m_used = 0;
    std::size_t m_filled = 0;
    Bytes m_row;
    bool m_rowTouched = false;
    int m_x = 0;
    int m_y = 0; ///< from the bottom
};

} // namespace mv
