#pragma once

#include "pictures/jpeg/JpegMarkerWalk.h"
#include "pictures/jpeg/JpegParts.h"
#include "pictures/jpeg/JpegScanReader.h"
#include "pictures/jpeg/JpegStrips.h"

namespace mv {

/// Decodes a JPEG at one to four eighths of its size without ever holding its coefficients: sequential files row by
/// row, files of several scans (progressive ones) as the means of their blocks and a few details of coarser
/// components, at one eighth only. It takes 8-bit Huffman-coded files and leaves all others to libjpeg.
class JpegShrinker {
public:
    /// The source must outlive it.
    JpegShrinker(const ByteSource& source, const JpegShrinkPlan& plan)
        : m_source(source)
        , m_plan(plan)
        , m_walk(source)
    {
    }

    /// False when the file is none that is taken here; the sink has then got nothing.
    Result<bool> deliver(RowSink& sink);

private:
    /// A component of a file of several scans.
    struct Plane {
        int blocksAcross = 0;
        std::vector<std::int16_t> means;
        std::vector<JpegDetails> details; ///< empty: not needed
    };

    Result<void> readToFirstScan();
    Result<JpegScanHeader> readScanHeader();
    Result<void> latchQuantTables(const JpegScanHeader& scan);
    Result<JpegStrips> makeStrips() const;
    Result<JpegScanReader> makeReader(const JpegScanHeader& scan);

    Result<void> streamRows(JpegScanReader& reader, const JpegScanHeader& scan, JpegStrips& strips, RowSink& sink);
    void readUnit(JpegScanReader& reader, const JpegScanHeader& scan, int unit, JpegStrips& strips);

    Result<void> makePlanes();
    Result<void> readScans(JpegScanHeader scan);
    Result<void> readScan(const JpegScanHeader& scan);
    bool matters(const JpegScanHeader& scan) const;
    template <class Visit> void forEachBlock(const JpegScanHeader& scan, JpegScanReader& reader, const Visit& visit);
    void readBlock(const JpegScanHeader& scan, JpegScanReader& reader, std::size_t part, std::size_t block);
    void deliverPlanes(JpegStrips& strips, RowSink& sink);
    void fillFromPlane(std::size_t component, int unitRow, JpegStrips& strips);

    const ByteSource& m_source;
    JpegShrinkPlan m_plan;
    JpegMarkerWalk m_walk;
    JpegFrame m_frame;
    JpegTables m_tables;
    std::vector<std::optional<JpegTables::QuantTable>> m_quant; ///< of each component, as its first scan found it
    std::vector<Plane> m_planes;
    std::vector<JpegBlockScaler> m_scalers; ///< of the planes, for scans that mix means and details
};

} // namespace mv
