#include "pictures/jpeg/JpegReader.h"

#include "pictures/jpeg/JpegDecompressor.h"
#include "pictures/jpeg/JpegShrinker.h"

#include <algorithm>
#include <array>
#include <limits>

namespace mv {

namespace {

constexpr int RowsAtOnce = 8;
// The tallest block row is 4 blocks of 8 lines.
constexpr int MaxBlockRowLines = 32;

J_COLOR_SPACE outputSpace(const jpeg_decompress_struct& state)
{
    if (state.num_components == 1)
        return JCS_GRAYSCALE;
    return state.num_components == 4 ? JCS_CMYK : JCS_RGB;
}

Result<PixelModel> modelOf(const jpeg_decompress_struct& state)
{
    switch (state.num_components) {
    case 1:
        return PixelModel::Gray;
    case 3:
        return PixelModel::Rgb;
    case 4:
        return PixelModel::Cmyk;
    default:
        return Error { Error::Kind::Unsupported, "a JPEG of an odd number of components" };
    }
}

std::optional<JpegColors> colorsOf(const jpeg_decompress_struct& state)
{
    switch (state.jpeg_color_space) {
    case JCS_GRAYSCALE:
        return JpegColors::Gray;
    case JCS_YCbCr:
        return JpegColors::Ycc;
    case JCS_RGB:
        return JpegColors::Rgb;
    case JCS_CMYK:
        return JpegColors::Cmyk;
    case JCS_YCCK:
        return JpegColors::Ycck;
    default:
        return std::nullopt;
    }
}

/// The largest power of two that leaves at least so many times the target in both directions, up to `most`.
int denominatorFor(const PictureHeader& header, int targetWidth, int targetHeight, int times, int most)
{
    int denominator = 1;
    while (denominator < most && header.width / (denominator * 2) >= times * std::int64_t { targetWidth }
        && header.height / (denominator * 2) >= times * std::int64_t { targetHeight })
        denominator *= 2;
    return denominator;
}

void invert(std::uint8_t* samples, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        samples[i] = static_cast<std::uint8_t>(255 - samples[i]);
}

} // namespace

Result<PictureReaders> JpegReader::open(const SharedSource& source, Drawing drawing)
{
    MV_TRY(outline, outlineOfJpeg(*source));
    std::unique_ptr<JpegReader> reader(new JpegReader(source, outline, drawing));
    MV_TRY_VOID(reader->readHeader());
    PictureReaders readers;
    readers.push_back(std::move(reader));
    return readers;
}

Result<void> JpegReader::readHeader()
{
    JpegDecompressor jpeg(*m_source);
    if (!jpeg.keepProfile() || !jpeg.readHeader())
        return Error { Error::Kind::Format, "a JPEG header that cannot be read" };
    const jpeg_decompress_struct& state = jpeg.state();
    MV_TRY_VOID(checkPictureSize(state.image_width, state.image_height));
    MV_TRY(model, modelOf(state));
    m_header = { static_cast<int>(state.image_width), static_cast<int>(state.image_height), model, jpeg.profile() };
    m_colors = colorsOf(state);
    m_invertInks = model == PixelModel::Cmyk && !state.saw_Adobe_marker;
    for (int i = 0; i < state.num_components; ++i) {
        const jpeg_component_info& component = state.comp_info[i];
        m_coarseness = std::max({ m_coarseness, state.max_h_samp_factor / component.h_samp_factor,
            state.max_v_samp_factor / component.v_samp_factor });
    }
    return {};
}

/// The smallest size that leaves enough of the picture for this target, if the file is of a kind for it.
std::optional<JpegShrinkPlan> JpegReader::shrinkPlan(int targetWidth, int targetHeight) const
{
    // How many times the target must be left. Means of blocks are blunter than what is transformed back.
    using Rule = std::array<double, 4>;
    constexpr Rule FaithfulRule { 2.0, 1.5, 1.5, 1.5 };
    // The library's half is the quicker one.
    constexpr Rule QuickRule { 1.4, 1, 1, std::numeric_limits<double>::infinity() };
    const bool isQuick = m_drawing == Drawing::Quick;
    const Rule& least = isQuick ? QuickRule : FaithfulRule;
    const double leastOfColour = isQuick ? 1 : 1.5;
    if (!m_colors)
        return std::nullopt;
    double left = std::min(m_header.width / static_cast<double>(targetWidth),
                      m_header.height / static_cast<double>(targetHeight))
        / JpegBlockSide;
    for (int numerator = 1; numerator <= (m_outline.progressive ? 1 : 4); ++numerator) {
        if (left * numerator < least[static_cast<std::size_t>(numerator - 1)])
            continue;
        bool coarse
            = (numerator == 1 || isQuick) && m_coarseness > 1 && left * numerator / m_coarseness >= leastOfColour;
        return JpegShrinkPlan { .numerator = numerator,
            .coarseColours = coarse,
            .colors = *m_colors,
            .invertInks = m_invertInks,
            .width = m_header.width,
            .height = m_header.height,
            .plainEdges = isQuick && left * numerator >= 2 };
    }
    return std::nullopt;
}

Result<void> JpegReader::decode(int targetWidth, int targetHeight, RowSink& sink)
{
    if (auto plan = shrinkPlan(targetWidth, targetHeight)) {
        MV_TRY(delivered, JpegShrinker(*m_source, *plan).deliver(sink));
        if (delivered)
            return {};
    }
    JpegDecompressor jpeg(*m_source);
    // Of an eighth a quick drawing needs more than there is, or JpegShrinker has made it.
    int denominator = m_drawing == Drawing::Quick ? denominatorFor(m_header, targetWidth, targetHeight, 1, 4)
                                                  : denominatorFor(m_header, targetWidth, targetHeight, 2, 8);
    return deliver(jpeg, denominator, sink);
}

/// A progressive file is read with a height that ends soon after the row: its scans are then passed over quickly,
/// and the rows above are the same to the bit.
Result<void> JpegReader::decodeTop(int y, RowSink& sink)
{
    JpegDecompressor jpeg(*m_source);
    int height = (y / MaxBlockRowLines + 2) * MaxBlockRowLines;
    if (m_outline.progressive && height < m_header.height)
        jpeg.patch(
            m_outline.frameOffset + 5, { static_cast<std::uint8_t>(height >> 8), static_cast<std::uint8_t>(height) });
    return deliver(jpeg, 1, sink);
}

Result<void> JpegReader::deliver(JpegDecompressor& jpeg, int denominator, RowSink& sink)
{
    if (!jpeg.readHeader())
        return Error { Error::Kind::Format, "a JPEG header that cannot be read" };
    jpeg_decompress_struct& state = jpeg.state();
    state.scale_num = 1;
    state.scale_denom = static_cast<unsigned>(denominator);
    state.out_color_space = outputSpace(state);
    state.do_block_smoothing = FALSE;
    if (!jpeg.start())
        return Error { Error::Kind::Format, "a JPEG that cannot be decoded" };

    RowLayout layout { static_cast<int>(state.output_width),
        denominator == 1 ? m_header.height : static_cast<int>(state.output_height), m_header.model,
        static_cast<double>(m_header.width) / denominator, static_cast<double>(m_header.height) / denominator };
    if (!sink.begin(layout))
        return Error { Error::Kind::Limit, "a JPEG too large to draw" };
    std::size_t stride = state.output_width * static_cast<std::size_t>(state.output_components);
    Bytes buffer(stride * RowsAtOnce);
    JSAMPROW rows[RowsAtOnce];
    for (int i = 0; i < RowsAtOnce; ++i)
        rows[i] = &buffer[stride * i];
    int count = jpeg.readRows(rows, RowsAtOnce);
    if (jpeg.madeUpPixels() && !jpeg_has_multiple_scans(&state))
        return Error { Error::Kind::Format, "a JPEG that ends before its first row" };
    for (; count > 0; count = jpeg.readRows(rows, RowsAtOnce)) {
        for (int i = 0; i < count; ++i) {
            if (m_invertInks)
                invert(rows[i], stride);
            if (!sink.row(rows[i]))
                return {};
        }
    }
    return {};
}

} // namespace mv
