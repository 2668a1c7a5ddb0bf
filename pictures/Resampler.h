#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "pictures/ColumnKernels.h"
#include "pictures/LanczosTaps.h"
#include "pictures/PixelRows.h"

#include <vector>

namespace mv {

/// Above this many sums an out-of-order raster (interlaced PNG or GIF) is refused: 256 MB of them.
inline constexpr std::size_t MaxScatterSums = 64u << 20;

/// Scales a raster to a given size while its rows arrive, never holding more of it than a few rows. First whole boxes
/// of pixels are averaged, down to at least three times the target, then Lanczos weights do the rest in single
/// precision; colours count by their alpha. Scaling up works the same way without boxes; an equal size copies.
class Resampler final : public RowSink {
public:
    /// Both at least 1. `lobes`: 3, or 2 for what is to be quick and may be a little softer.
    Resampler(int targetWidth, int targetHeight, int lobes = 3);

    bool begin(const RowLayout& layout) override;
    bool row(const std::uint8_t* pixels) override;
    void scatter(int y, int x, int step, const std::uint8_t* pixels, int count) override;

    /// How many rows came, or whether any pixels were scattered.
    int rowsTaken() const { return m_rowsTaken; }
    /// What the target's pixels are: the layout's model, or Rgb for Ycc.
    PixelModel model() const { return m_layout.model == PixelModel::Ycc ? PixelModel::Rgb : m_layout.model; }
    /// The target's pixels. Rows that never came repeat the last one that did; an error when
    /// none came.
    Result<Bytes> finish();

private:
    using Row = std::vector<float>;

    bool beginScatter();
    void accumulate(const std::uint8_t* pixels);
    void closeBoxRow();
    void pushMiddleRow();
    void makeOutputRows();
    void finishScatter();
    void repeatLastRow();
    void sumRows(int output);
    template <int Channels> void averageBoxes(float* middle) const;
    template <int Channels, int Width> int averageWholeBoxes(float* middle) const;
    Row& middleRow(int y) { return m_middle[static_cast<std::size_t>(y % m_ringRows)]; }

    int m_targetWidth;
    int m_targetHeight;
    int m_lobes;
    RowLayout m_layout;
    int m_channels = 0;
    bool m_copy = false;
    bool m_scattered = false;
    int m_boxWidth = 1;
    int m_boxHeight = 1;
    int m_middleWidth = 0;
    int m_middleHeight = 0;
    int m_rowsTaken = 0;
    int m_rowsInBox = 0;
    int m_middleCount = 0; ///< middle rows made so far
    int m_nextOutput = 0;
    int m_ringRows = 0;
    ColumnKernels m_columns;
    LanczosTaps m_rows;
    std::vector<std::uint8_t> m_premultiplied;
    std::vector<std::uint16_t> m_boxSums;
    std::vector<std::uint32_t> m_scatterSums;
    std::vector<std::uint32_t> m_scatterCounts;
    std::vector<Row> m_middle;
    Row m_sum;
    std::vector<const float*> m_rowsToSum;
    Bytes m_pixels;
};

} // namespace mv
