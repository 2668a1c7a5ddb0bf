#include "pictures/jpeg/JpegScanReader.h"

namespace mv {

namespace {

Result<JpegHuffman> meansTable(const JpegTables& tables, int slot)
{
    const auto& code = tables.dc[static_cast<std::size_t>(slot)];
    if (!code)
        return Error { Error::Kind::Unsupported, "a scan without its tables" };
    return JpegHuffman::make(code->counts, code->symbols);
}

Result<JpegHuffman> detailsTable(const JpegTables& tables, int slot, bool leaps, bool large)
{
    const auto& code = tables.ac[static_cast<std::size_t>(slot)];
    if (!code)
        return Error { Error::Kind::Unsupported, "a scan without its tables" };
    return leaps ? JpegHuffman::makeForDetails(code->counts, code->symbols, large)
                 : JpegHuffman::make(code->counts, code->symbols);
}

} // namespace

Result<JpegScanReader> JpegScanReader::make(const ByteSource& source, std::uint64_t offset, const JpegScanHeader& scan,
    const JpegTables& tables, bool progressive, bool large)
{
    JpegScanReader reader(source, offset, scan, tables.restartInterval);
    for (const JpegScanHeader::Part& which : scan.parts) {
        Part& part = reader.m_parts.emplace_back();
        if (!progressive || (scan.spectralStart == 0 && scan.high == 0)) {
            MV_TRY(table, meansTable(tables, which.dcTable));
            part.dc = std::move(table);
        }
        if (!progressive || scan.spectralStart > 0) {
            MV_TRY(table, detailsTable(tables, which.acTable, !progressive, large));
            part.ac = std::move(table);
        }
    }
    return reader;
}

bool JpegScanReader::beginUnit()
{
    if (m_interval > 0 && m_unitsToRestart-- == 0) {
        m_bits.restart(m_nextRestart);
        m_nextRestart = (m_nextRestart + 1) & 7;
        m_unitsToRestart = m_interval - 1;
        m_blocksToSkip = 0;
        for (Part& part : m_parts)
            part.prediction = 0;
    }
    return !m_bits.ranDry();
}

/// Sums that no sound file has wrap around in 16 bits, which harms nobody.
int JpegScanReader::nextMean(Part& part, JpegBitReader::Pool& pool)
{
    m_bits.refill(pool);
    int size = part.dc->symbol(pool);
    part.prediction = static_cast<std::int16_t>(part.prediction + pool.signedNumber(size));
    return part.prediction;
}

int JpegScanReader::sequential(
    std::size_t index, const JpegBlockScaler& scaler, JpegBlockScaler::Block& block, int& mean)
{
    Part& part = m_parts[index];
    JpegBitReader::Pool pool = m_bits.pool();
    mean = nextMean(part, pool);
    int last = 0;
    int place = 1;
    const int wanted = scaler.lastPlace();
    if (wanted > 0) {
        scaler.clear(block);
        scaler.set(block, 0, mean);
    }
    while (place <= wanted) {
        m_bits.refill(pool);
        JpegHuffman::Step step = part.ac->step(pool);
        place += step.advance;
        if (scaler.set(block, place - 1, step.value))
            last = place - 1;
    }
    part.ac->skip(m_bits, pool, place);
    m_bits.setPool(pool);
    return last;
}

void JpegScanReader::firstMean(std::size_t index, std::int16_t& mean)
{
    JpegBitReader::Pool pool = m_bits.pool();
    mean = static_cast<std::int16_t>(static_cast<unsigned>(nextMean(m_parts[index], pool)) << m_scan.low);
    m_bits.setPool(pool);
}

void JpegScanReader::refineMean(std::int16_t& mean)
{
    if (nextBit())
        mean = static_cast<std::int16_t>(mean | 1 << m_scan.low);
}

bool JpegScanReader::nextBit()
{
    JpegBitReader::Pool pool = m_bits.pool();
    m_bits.refill(pool);
    unsigned bit = pool.take(1);
    m_bits.setPool(pool);
    return bit != 0;
}

/// A code of a scan of details and the bits that belong to it.
JpegScanReader::Band JpegScanReader::nextBand()
{
    JpegBitReader::Pool pool = m_bits.pool();
    m_bits.refill(pool);
    int code = m_parts[0].ac->symbol(pool);
    Band band;
    band.zeros = code >> 4;
    int size = code & 15;
    if (size == 0 && band.zeros < 15)
        band.emptyBlocks = (1 << band.zeros) + (band.zeros > 0 ? static_cast<int>(pool.take(band.zeros)) : 0);
    else
        band.value = pool.signedNumber(m_scan.high == 0 || size == 0 ? size : 1);
    m_bits.setPool(pool);
    return band;
}

void JpegScanReader::firstDetails(JpegDetails& block)
{
    if (m_blocksToSkip > 0) {
        --m_blocksToSkip;
        return;
    }
    for (int place = m_scan.spectralStart; place <= m_scan.spectralEnd; ++place) {
        Band band = nextBand();
        if (band.emptyBlocks > 0) {
            m_blocksToSkip = band.emptyBlocks - 1;
            return;
        }
        place += band.zeros;
        if (band.value != 0 && place < JpegBlockCoefficients)
            keep(block, place, band.value);
    }
}

void JpegScanReader::keep(JpegDetails& block, int place, int value) const
{
    block.seen |= std::uint64_t { 1 } << place;
    if (int index = JpegDetails::indexOf(place); index >= 0)
        block.coefficients[static_cast<std::size_t>(index)]
            = static_cast<std::int16_t>(static_cast<unsigned>(value) << m_scan.low);
}

/// One more bit of a coefficient that is not 0.
void JpegScanReader::refineOne(JpegDetails& block, int place)
{
    bool bit = nextBit();
    int index = JpegDetails::indexOf(place);
    if (!bit || index < 0)
        return;
    std::int16_t& value = block.coefficients[static_cast<std::size_t>(index)];
    int weight = 1 << m_scan.low;
    value = static_cast<std::int16_t>(value < 0 ? value - weight : value + weight);
}

/// Passes so many coefficients that stay 0, refining those between them; `place` then is that of the next one.
void JpegScanReader::passZeros(JpegDetails& block, int& place, int zeros)
{
    for (; place <= m_scan.spectralEnd; ++place) {
        if (block.seen >> place & 1)
            refineOne(block, place);
        else if (zeros-- == 0)
            return;
    }
}

void JpegScanReader::refineDetails(JpegDetails& block)
{
    int place = m_scan.spectralStart;
    while (m_blocksToSkip == 0 && place <= m_scan.spectralEnd) {
        Band band = nextBand();
        if (band.emptyBlocks > 0) {
            m_blocksToSkip = band.emptyBlocks;
            break;
        }
        passZeros(block, place, band.zeros);
        if (band.value != 0 && place <= m_scan.spectralEnd)
            keep(block, place, band.value);
        ++place;
    }
    if (m_blocksToSkip > 0) {
        passZeros(block, place, 64);
        --m_blocksToSkip;
    }
}

} // namespace mv
