#include "tests/pictures/HeifMaker.h"

#include "Base/Core/ByteReader.h"
#include "pictures/HeifItems.h"
#include "png/PngFile.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <stdexcept>

namespace mv::test {

namespace {

Bytes box(std::string_view type, ByteView content)
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.u32be(static_cast<std::uint32_t>(content.size() + 8));
    out.text(type);
    out.bytes(content);
    return bytes;
}

/// With a version, and flags of 0.
Bytes fullBox(std::string_view type, int version, ByteView content)
{
    Bytes bytes { static_cast<std::uint8_t>(version), 0, 0, 0 };
    bytes.insert(bytes.end(), content.begin(), content.end());
    return box(type, bytes);
}

Bytes joined(std::initializer_list<ByteView> parts)
{
    Bytes bytes;
    for (ByteView part : parts)
        bytes.insert(bytes.end(), part.begin(), part.end());
    return bytes;
}

/// Numbers of two bytes.
Bytes numbers(std::initializer_list<std::size_t> values)
{
    Bytes bytes;
    for (std::size_t value : values)
        ByteWriter(bytes).u16be(static_cast<std::uint16_t>(value));
    return bytes;
}

Bytes sizeProperty(const HeifItem& item)
{
    Bytes content;
    ByteWriter out(content);
    out.u32be(static_cast<std::uint32_t>(item.width));
    out.u32be(static_cast<std::uint32_t>(item.height));
    return fullBox("ispe", 0, content);
}

/// The items, numbered from 1, the Exif block last.
class HeifFile {
public:
    HeifFile(const HeifItem& picture, const HeifWish& wish)
        : m_avif(wish.avif)
        , m_pictures { picture }
    {
        m_pictures.insert(m_pictures.end(), wish.previews.begin(), wish.previews.end());
        for (const HeifItem& item : m_pictures)
            m_data.push_back(item.data);
        if (!wish.exif.empty())
            m_data.push_back(joined({ Bytes(4), wish.exif }));
    }

    Bytes bytes() const
    {
        Bytes type = box("ftyp",
            bytesOf(m_avif ? std::string("avif\0\0\0\0mif1avif", 16) : std::string("heic\0\0\0\0mif1heic", 16)));
        // The places of the data do not change how long the boxes are.
        std::size_t start = type.size() + meta(0).size() + 8;
        Bytes data;
        for (const Bytes& item : m_data)
            data.insert(data.end(), item.begin(), item.end());
        return joined({ type, meta(start), box("mdat", data) });
    }

private:
    Bytes meta(std::size_t dataStart) const
    {
        Bytes handler = fullBox("hdlr", 0, joined({ Bytes(4), bytesOf("pict"), Bytes(13) }));
        Bytes all = joined({ handler, fullBox("pitm", 0, numbers({ 1 })), locations(dataStart), entries(), references(),
            properties() });
        return fullBox("meta", 0, all);
    }

    Bytes locations(std::size_t start) const
    {
        Bytes content { 0x44, 0 }; // offsets and lengths of four bytes
        ByteWriter out(content);
        out.u16be(static_cast<std::uint16_t>(m_data.size()));
        for (std::size_t i = 0; i < m_data.size(); ++i) {
            out.bytes(numbers({ i + 1, 0, 1 }));
            out.u32be(static_cast<std::uint32_t>(start));
            out.u32be(static_cast<std::uint32_t>(m_data[i].size()));
            start += m_data[i].size();
        }
        return fullBox("iloc", 0, content);
    }

    Bytes entries() const
    {
        Bytes content = numbers({ m_data.size() });
        for (std::size_t i = 0; i < m_data.size(); ++i) {
            std::string_view type = i >= m_pictures.size() ? "Exif" : m_avif ? "av01" : "hvc1";
            Bytes entry = fullBox("infe", 2, joined({ numbers({ i + 1, 0 }), bytesOf(type), Bytes(1) }));
            content.insert(content.end(), entry.begin(), entry.end());
        }
        return fullBox("iinf", 0, content);
    }

    Bytes references() const
    {
        Bytes content;
        for (std::size_t i = 1; i < m_data.size(); ++i) {
            Bytes reference = box(i < m_pictures.size() ? "thmb" : "cdsc", numbers({ i + 1, 1, 1 }));
            content.insert(content.end(), reference.begin(), reference.end());
        }
        return content.empty() ? Bytes {} : fullBox("iref", 0, content);
    }

    Bytes properties() const
    {
        Bytes boxes;
        Bytes associations;
        ByteWriter out(associations);
        std::uint8_t index = 0;
        out.u32be(static_cast<std::uint32_t>(m_pictures.size()));
        for (std::size_t i = 0; i < m_pictures.size(); ++i) {
            std::vector<Bytes> own = m_pictures[i].properties;
            own.insert(own.begin(), { m_pictures[i].config, sizeProperty(m_pictures[i]) });
            out.u16be(static_cast<std::uint16_t>(i + 1));
            out.u8(static_cast<std::uint8_t>(own.size()));
            for (const Bytes& property : own) {
                boxes.insert(boxes.end(), property.begin(), property.end());
                out.u8(++index);
            }
        }
        return box("iprp", joined({ box("ipco", boxes), fullBox("ipma", 0, associations) }));
    }

    bool m_avif;
    std::vector<HeifItem> m_pictures;
    std::vector<Bytes> m_data;
};

Bytes encoded(const Bitmap& bitmap, bool avif)
{
    ScratchFolder folder;
    std::string png = folder.write("a.png", ByteView(pngOf(bitmap)));
    std::string target = folder.file(avif ? "a.avif" : "a.heic");
    outputOf("heif-enc -q 90 " + std::string(avif ? "-A " : "") + "-o " + target + " " + png);
    return readFile(target);
}

/// The first box of that type, at whatever depth.
Bytes boxIn(const Bytes& file, std::string_view type)
{
    std::string_view text = charsOf(file);
    std::size_t at = text.find(type);
    if (at == std::string_view::npos || at < 4)
        throw std::runtime_error("no such box");
    std::uint32_t size = ByteReader(ByteView(file).subspan(at - 4)).u32be();
    ByteView found = ByteView(file).subspan(at - 4, size);
    return { found.begin(), found.end() };
}

} // namespace

bool canEncodeHeif(bool avif)
{
    if (!haveProgram("heif-enc"))
        return false;
    try {
        encoded({ 16, 16, Bytes(16 * 16 * 4, 255) }, avif);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

HeifItem heifItem(const Bitmap& bitmap, bool avif)
{
    Bytes file = encoded(bitmap, avif);
    MemorySource source(file);
    auto items = HeifItems::read(source);
    if (!items)
        throw std::runtime_error("heif-enc wrote no items");
    return { bitmap.width, bitmap.height, boxIn(file, avif ? "av1C" : "hvcC"),
        items->firstPieceOf(items->primary(), source, file.size()), {} };
}

Bytes quarterTurns(int count) { return box("irot", Bytes { static_cast<std::uint8_t>(count) }); }
Bytes mirrored(int axis) { return box("imir", Bytes { static_cast<std::uint8_t>(axis) }); }
Bytes colourProfile(const Bytes& icc) { return box("colr", joined({ bytesOf("prof"), icc })); }

Bytes makeHeif(const HeifItem& picture, const HeifWish& wish) { return HeifFile(picture, wish).bytes(); }

} // namespace mv::test
