#pragma once

#include "pictures/PixelRows.h"
#include "pictures/jpeg/JpegBlockScaler.h"
#include "pictures/jpeg/JpegParts.h"

#include <vector>

namespace mv {

/// What the components of a JPEG mean.
enum class JpegColors { Gray, Ycc, Rgb, Cmyk, Ycck };

/// How a JPEG is to be shrunk while it is decoded.
struct JpegShrinkPlan {
    int numerator = 1; ///< 1 to 4: so many samples for each 8 pixels
    bool coarseColours = false; ///< coarser components may give as few samples a block as the brightness
    JpegColors colors = JpegColors::Ycc;
    bool invertInks = false;
    int width = 0; ///< the size that was checked before, in case markers can be read in two ways; 0: any
    int height = 0;
    bool plainEdges = false; ///< of two samples across and down, what differs between their diagonals may be left out
};

/// The samples of one row of units of a shrunken JPEG, filled block by block, and how they become rows of pixels.
class JpegStrips {
public:
    /// Unsupported for components whose samples would not lie on one raster. `quant`: the table of each component.
    static Result<JpegStrips> make(
        const JpegFrame& frame, const JpegShrinkPlan& plan, const std::vector<JpegTables::QuantTable>& quant);

    const JpegBlockScaler& scaler(std::size_t component) const { return m_parts[component].scaler; }
    /// A block of a component by its place within the row of units.
    void fill(std::size_t component, int column, int row, int mean);
    void fill(std::size_t component, int column, int row, const JpegBlockScaler::Block& block, int last);

    RowLayout layout() const;
    /// Hands out the rows of the strip, up to the picture's last. False when no more are needed.
    bool deliver(RowSink& sink);

private:
    struct Part {
        JpegBlockScaler scaler;
        int repeatAcross = 1;
        int repeatDown = 1;
        std::size_t stride = 0;
        Bytes samples;
    };

    JpegStrips(const JpegFrame& frame, const JpegShrinkPlan& plan)
        : m_frame(frame)
        , m_plan(plan)
    {
    }
    Result<void> addPart(const JpegComponent& component, const JpegTables::QuantTable& quant);
    std::uint8_t* place(std::size_t component, int column, int row);
    const std::uint8_t* spreadRow(std::size_t component, int y);
    const std::uint8_t* pixelRow(int y);

    JpegFrame m_frame;
    JpegShrinkPlan m_plan;
    int m_width = 0;
    int m_height = 0;
    int m_delivered = 0;
    std::vector<Part> m_parts;
    std::vector<Bytes> m_spread; ///< a row of each component, repeated to full width
    Bytes m_pixels;
};

} // namespace mv
