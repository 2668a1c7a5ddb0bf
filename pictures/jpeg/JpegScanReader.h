#pragma once

#include "pictures/jpeg/JpegBitReader.h"
#include "pictures/jpeg/JpegBlockScaler.h"
#include "pictures/jpeg/JpegHuffman.h"
#include "pictures/jpeg/JpegParts.h"

#include <array>

namespace mv {

/// The few low frequencies of a block of a progressive JPEG that shrinking keeps.
struct JpegDetails {
    std::array<std::int16_t, 3> coefficients {}; ///< at places 1, 2 and 4
    std::uint64_t seen = 0; ///< the places of all coefficients that are not 0 so far

    /// Which of them stands at a place, or -1.
    static constexpr int indexOf(int place) { return place == 4 ? 2 : place == 1 || place == 2 ? place - 1 : -1; }
};

/// Reads one scan, block by block in the order of the file. Missing and damaged data never fail: their blocks are
/// passed over, until a restart marker ends the damage.
class JpegScanReader {
public:
    /// An error when tables that the scan needs are missing or wrong. `offset` is where its data begin; `large`: of
    /// many blocks.
    static Result<JpegScanReader> make(const ByteSource& source, std::uint64_t offset, const JpegScanHeader& scan,
        const JpegTables& tables, bool progressive, bool large);

    /// To be called before every unit: restarts where one is due. False when the unit's data are missing.
    bool beginUnit();

    /// A block of a sequential scan: its mean and the coefficients that `scaler` wants, multiplied out; tells the
    /// last place that is not 0.
    int sequential(std::size_t part, const JpegBlockScaler& scaler, JpegBlockScaler::Block& block, int& mean);
    /// The steps of a progressive picture, in the standard's terms: first and refining, means and details.
    void firstMean(std::size_t part, std::int16_t& mean);
    void refineMean(std::int16_t& mean);
    void firstDetails(JpegDetails& block);
    void refineDetails(JpegDetails& block);

    const JpegBitReader& bits() const { return m_bits; }

private:
    struct Part {
        std::optional<JpegHuffman> dc;
        std::optional<JpegHuffman> ac;
        int prediction = 0;
    };

    JpegScanReader(const ByteSource& source, std::uint64_t offset, const JpegScanHeader& scan, int interval)
        : m_bits(source, offset)
        , m_scan(scan)
        , m_interval(interval)
        , m_unitsToRestart(interval)
    {
    }
    struct Band {
        int emptyBlocks = 0; ///< so many blocks, this one included, have nothing more; nothing else is set then
        int zeros = 0; ///< coefficients that stay 0
        int value = 0; ///< of the one behind them, 0 for none
    };

    int nextMean(Part& part, JpegBitReader::Pool& pool);
    bool nextBit();
    Band nextBand();
    void keep(JpegDetails& block, int place, int value) const;
    void passZeros(JpegDetails& block, int& place, int zeros);
    void refineOne(JpegDetails& block, int place);

    JpegBitReader m_bits;
    JpegScanHeader m_scan;
    std::vector<Part> m_parts;
    int m_interval;
    int m_unitsToRestart;
    int m_nextRestart = 0;
    int m_blocksToSkip = 0; ///< blocks without further coefficients
};

} // namespace mv
