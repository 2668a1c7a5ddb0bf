#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"

#include <array>
#include <optional>
#include <vector>

namespace mv {

inline constexpr int JpegBlockSide = 8;
inline constexpr int JpegBlockCoefficients = 64;

/// The place of a coefficient within its block, row by row, by its place in a scan.
inline constexpr std::array<std::uint8_t, JpegBlockCoefficients> JpegZigzag { 0, 1, 8, 16, 9, 2, 3, 10, 17, 24, 32, 25,
    18, 11, 4, 5, 12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6, 7, 14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22,
    15, 23, 30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63 };

struct JpegComponent {
    int id = 0;
    int h = 1; ///< blocks across in a unit of an interleaved scan
    int v = 1; ///< and down
    int quantTable = 0;
};

/// A frame header of 8-bit, Huffman-coded, sequential or progressive pictures.
struct JpegFrame {
    int width = 0;
    int height = 0;
    bool progressive = false;
    int maxH = 1;
    int maxV = 1;
    std::vector<JpegComponent> components;

    int unitsAcross() const { return (width + JpegBlockSide * maxH - 1) / (JpegBlockSide * maxH); }
    int unitsDown() const { return (height + JpegBlockSide * maxV - 1) / (JpegBlockSide * maxV); }
    /// Blocks that a scan of this component alone has.
    int blocksAcross(const JpegComponent& component) const;
    int blocksDown(const JpegComponent& component) const;

    /// Unsupported for every other kind of frame.
    static Result<JpegFrame> parse(int marker, ByteView segment);
};

struct JpegScanHeader {
    struct Part {
        std::size_t component = 0; ///< its index in the frame
        int dcTable = 0;
        int acTable = 0;
    };
    std::vector<Part> parts;
    int spectralStart = 0;
    int spectralEnd = 63;
    int high = 0; ///< the bit that was sent before, 0 in a first scan
    int low = 0; ///< the bit that is sent now

    static Result<JpegScanHeader> parse(const JpegFrame& frame, ByteView segment);
};

/// The tables that are in force, as segments between the scans define them anew.
struct JpegTables {
    static constexpr std::size_t Slots = 4;
    struct HuffmanCode {
        Bytes counts;
        Bytes symbols;
    };
    using QuantTable = std::array<std::uint16_t, JpegBlockCoefficients>; ///< in zigzag order

    std::array<std::optional<QuantTable>, Slots> quant;
    std::array<std::optional<HuffmanCode>, Slots> dc;
    std::array<std::optional<HuffmanCode>, Slots> ac;
    int restartInterval = 0; ///< units, 0 for none

    /// Takes a segment that defines something; those of other markers are passed over.
    Result<void> take(int marker, ByteView segment);

private:
    Result<void> takeQuant(ByteView segment);
    Result<void> takeHuffman(ByteView segment);
};

} // namespace mv
