#include "pictures/jpeg/JpegShrinker.h"

#include "pictures/jpeg/JpegDecompressor.h"

namespace mv {

namespace {

// What may stand before a scan: whole Exif, profile and maker segments, but not gigabytes of them.
constexpr int MaxSegments = 10'000;
// From so many blocks on, larger tables are worth their making.
constexpr int ManyBlocks = 20'000;

} // namespace

Result<bool> JpegShrinker::deliver(RowSink& sink)
{
    if (!readToFirstScan())
        return false;
    auto scan = readScanHeader();
    if (!scan)
        return false;
    if (!m_frame.progressive && scan->parts.size() == m_frame.components.size()) {
        auto strips = makeStrips();
        auto reader = makeReader(*scan);
        if (!strips || !reader)
            return false;
        if (!sink.begin(strips->layout()))
            return Error { Error::Kind::Limit, "a JPEG too large to draw" };
        MV_TRY_VOID(streamRows(*reader, *scan, *strips, sink));
        return true;
    }
    if (m_plan.numerator != 1 || !makePlanes() || !readScans(std::move(*scan)))
        return false;
    auto strips = makeStrips();
    if (!strips)
        return false;
    if (!sink.begin(strips->layout()))
        return Error { Error::Kind::Limit, "a JPEG too large to draw" };
    deliverPlanes(*strips, sink);
    return true;
}

Result<void> JpegShrinker::readToFirstScan()
{
    m_walk.seek(2);
    for (int count = 0; count < MaxSegments; ++count) {
        int marker = m_walk.nextMarker();
        if (marker == jpeg_marker::StartOfScan && !m_frame.components.empty())
            return {};
        if (marker < 0 || marker == jpeg_marker::EndOfImage || marker == jpeg_marker::StartOfScan)
            break;
        if (jpeg_marker::isStandalone(marker))
            continue;
        MV_TRY(segment, m_walk.segment());
        MV_TRY_VOID(m_tables.take(marker, segment));
        if (!jpeg_marker::isFrame(marker))
            continue;
        if (!m_frame.components.empty())
            break;
        MV_TRY(frame, JpegFrame::parse(marker, segment));
        if ((m_plan.width > 0 && m_plan.width != frame.width) || (m_plan.height > 0 && m_plan.height != frame.height))
            return Error { Error::Kind::Format, "a JPEG of two sizes" };
        m_frame = std::move(frame);
        m_quant.resize(m_frame.components.size());
    }
    return Error { Error::Kind::Format, "a JPEG without a scan" };
}

/// The walk stands behind the scan's marker, and then on its data.
Result<JpegScanHeader> JpegShrinker::readScanHeader()
{
    MV_TRY(segment, m_walk.segment());
    MV_TRY(scan, JpegScanHeader::parse(m_frame, segment));
    MV_TRY_VOID(latchQuantTables(scan));
    return scan;
}

/// Tables may change between scans; that of a component is the one which its first scan finds.
Result<void> JpegShrinker::latchQuantTables(const JpegScanHeader& scan)
{
    for (const JpegScanHeader::Part& part : scan.parts) {
        if (m_quant[part.component])
            continue;
        const auto& table = m_tables.quant[static_cast<std::size_t>(m_frame.components[part.component].quantTable)];
        if (!table)
            return Error { Error::Kind::Format, "a component without its quantisation table" };
        m_quant[part.component] = *table;
    }
    return {};
}

Result<JpegStrips> JpegShrinker::makeStrips() const
{
    std::vector<JpegTables::QuantTable> quant;
    for (const auto& table : m_quant)
        quant.push_back(table.value_or(JpegTables::QuantTable {}));
    return JpegStrips::make(m_frame, m_plan, quant);
}

Result<JpegScanReader> JpegShrinker::makeReader(const JpegScanHeader& scan)
{
    bool large = std::int64_t { m_frame.width } * m_frame.height > std::int64_t { ManyBlocks } * JpegBlockCoefficients;
    return JpegScanReader::make(m_source, m_walk.position(), scan, m_tables, m_frame.progressive, large);
}

Result<void> JpegShrinker::streamRows(
    JpegScanReader& reader, const JpegScanHeader& scan, JpegStrips& strips, RowSink& sink)
{
    for (int row = 0; row < m_frame.unitsDown(); ++row) {
        for (int unit = 0; unit < m_frame.unitsAcross(); ++unit)
            readUnit(reader, scan, unit, strips);
        if (row == 0 && reader.bits().ranDry() && reader.bits().fileEnded())
            return Error { Error::Kind::Format, "a JPEG that ends before its first row" };
        if (!strips.deliver(sink))
            break;
    }
    return {};
}

void JpegShrinker::readUnit(JpegScanReader& reader, const JpegScanHeader& scan, int unit, JpegStrips& strips)
{
    JpegBlockScaler::Block block;
    bool there = reader.beginUnit();
    for (std::size_t i = 0; i < scan.parts.size(); ++i) {
        std::size_t index = scan.parts[i].component;
        const JpegComponent& component = m_frame.components[index];
        for (int b = 0; b < component.h * component.v; ++b) {
            int column = unit * component.h + b % component.h;
            int mean = 0;
            int last = there ? reader.sequential(i, strips.scaler(index), block, mean) : 0;
            if (last == 0)
                strips.fill(index, column, b / component.h, mean);
            else
                strips.fill(index, column, b / component.h, block, last);
        }
    }
}

Result<void> JpegShrinker::makePlanes()
{
    JpegTables::QuantTable ones;
    ones.fill(1);
    for (const JpegComponent& component : m_frame.components) {
        Plane& plane = m_planes.emplace_back();
        plane.blocksAcross = m_frame.unitsAcross() * component.h;
        std::size_t blocks = static_cast<std::size_t>(plane.blocksAcross) * m_frame.unitsDown() * component.v;
        plane.means.resize(blocks);
        int across = m_plan.coarseColours ? 1 : m_frame.maxH / component.h;
        int down = m_plan.coarseColours ? 1 : m_frame.maxV / component.v;
        if (across > 2 || down > 2)
            return Error { Error::Kind::Unsupported, "more details than are kept" };
        if (across > 1 || down > 1)
            plane.details.resize(blocks);
        m_scalers.emplace_back(across, down, ones);
    }
    return {};
}

Result<void> JpegShrinker::readScans(JpegScanHeader scan)
{
    for (int count = 0; count < MaxJpegScans; ++count) {
        std::uint64_t data = m_walk.position();
        if (matters(scan)) {
            MV_TRY_VOID(readScan(scan));
        }
        m_walk.seek(std::max(m_walk.position(), data));
        for (;;) {
            int marker = m_walk.nextMarker();
            if (marker < 0 || marker == jpeg_marker::EndOfImage)
                return {};
            if (marker == jpeg_marker::StartOfScan)
                break;
            if (jpeg_marker::isFrame(marker))
                return Error { Error::Kind::Unsupported, "a second frame" };
            if (jpeg_marker::isStandalone(marker))
                continue;
            // A file that is cut off shows what came before.
            auto segment = m_walk.segment();
            if (!segment)
                return {};
            MV_TRY_VOID(m_tables.take(marker, *segment));
        }
        auto next = readScanHeader();
        if (!next)
            return {};
        scan = std::move(*next);
    }
    return {};
}

/// Scans of details that are not kept are only passed over.
bool JpegShrinker::matters(const JpegScanHeader& scan) const
{
    return scan.spectralStart == 0 || !m_planes[scan.parts.front().component].details.empty();
}

Result<void> JpegShrinker::readScan(const JpegScanHeader& scan)
{
    MV_TRY(reader, makeReader(scan));
    forEachBlock(scan, reader, [&](std::size_t part, std::size_t block) { readBlock(scan, reader, part, block); });
    m_walk.seek(reader.bits().position());
    return {};
}

template <class Visit>
void JpegShrinker::forEachBlock(const JpegScanHeader& scan, JpegScanReader& reader, const Visit& visit)
{
    bool alone = scan.parts.size() == 1;
    const JpegComponent& first = m_frame.components[scan.parts.front().component];
    int across = alone ? m_frame.blocksAcross(first) : m_frame.unitsAcross();
    int down = alone ? m_frame.blocksDown(first) : m_frame.unitsDown();
    for (int y = 0; y < down; ++y) {
        for (int x = 0; x < across; ++x) {
            if (!reader.beginUnit()) {
                if (reader.bits().isOver())
                    return;
                continue;
            }
            for (std::size_t part = 0; part < scan.parts.size(); ++part) {
                const JpegComponent& component = m_frame.components[scan.parts[part].component];
                int h = alone ? 1 : component.h;
                int v = alone ? 1 : component.v;
                std::size_t stride = static_cast<std::size_t>(m_planes[scan.parts[part].component].blocksAcross);
                for (int b = 0; b < h * v; ++b)
                    visit(part,
                        static_cast<std::size_t>(y * v + b / h) * stride + static_cast<std::size_t>(x * h + b % h));
            }
        }
    }
}

void JpegShrinker::readBlock(const JpegScanHeader& scan, JpegScanReader& reader, std::size_t part, std::size_t block)
{
    std::size_t index = scan.parts[part].component;
    Plane& plane = m_planes[index];
    if (!m_frame.progressive) {
        JpegBlockScaler::Block coefficients;
        int mean = 0;
        int last = reader.sequential(part, m_scalers[index], coefficients, mean);
        plane.means[block] = static_cast<std::int16_t>(mean);
        for (int place : { 1, 2, 4 }) {
            if (last > 0 && !plane.details.empty() && place <= m_scalers[index].lastPlace())
                plane.details[block].coefficients[static_cast<std::size_t>(JpegDetails::indexOf(place))]
                    = static_cast<std::int16_t>(coefficients[JpegZigzag[static_cast<std::size_t>(place)]]);
        }
    } else if (scan.spectralStart == 0) {
        if (scan.high == 0)
            reader.firstMean(part, plane.means[block]);
        else
            reader.refineMean(plane.means[block]);
    } else if (scan.high == 0) {
        reader.firstDetails(plane.details[block]);
    } else {
        reader.refineDetails(plane.details[block]);
    }
}

void JpegShrinker::deliverPlanes(JpegStrips& strips, RowSink& sink)
{
    for (int row = 0; row < m_frame.unitsDown(); ++row) {
        for (std::size_t i = 0; i < m_planes.size(); ++i)
            fillFromPlane(i, row, strips);
        if (!strips.deliver(sink))
            return;
    }
}

void JpegShrinker::fillFromPlane(std::size_t index, int unitRow, JpegStrips& strips)
{
    const Plane& plane = m_planes[index];
    const JpegBlockScaler& scaler = strips.scaler(index);
    int down = m_frame.components[index].v;
    JpegBlockScaler::Block block;
    for (int y = 0; y < down; ++y) {
        std::size_t first = static_cast<std::size_t>(unitRow * down + y) * static_cast<std::size_t>(plane.blocksAcross);
        for (int x = 0; x < plane.blocksAcross; ++x) {
            std::size_t place = first + static_cast<std::size_t>(x);
            if (plane.details.empty() || plane.details[place].coefficients == std::array<std::int16_t, 3> {}) {
                strips.fill(index, x, y, plane.means[place]);
                continue;
            }
            const auto& details = plane.details[place].coefficients;
            scaler.clear(block);
            scaler.set(block, 0, plane.means[place]);
            scaler.set(block, 1, details[0]);
            scaler.set(block, 2, details[1]);
            scaler.set(block, 4, details[2]);
            strips.fill(index, x, y, block, 4);
        }
    }
}

} // namespace mv
