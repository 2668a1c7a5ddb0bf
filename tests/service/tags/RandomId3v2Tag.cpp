#include "tests/service/tags/RandomId3v2Tag.h"

#include "Base/Core/Text.h"
#include "tests/service/tags/RandomTags.h"
#include "tests/support/Mp3Maker.h"

#include <algorithm>

namespace mv::test {

namespace {

using namespace std::literals;

constexpr std::string_view Languages[] = { "eng", "XXX", "kor", "deu", "   ", "\0\0\0"sv, "ENG" };

/// The texts that are columns, and others.
constexpr std::string_view ColumnNames[] = { "TIT2", "TPE1", "TALB", "TCOM", "TCON", "TRCK", "TYER", "TDRC" };
constexpr std::string_view ColumnNamesOfV22[] = { "TT2", "TP1", "TAL", "TCM", "TCO", "TRK", "TYE" };
constexpr std::string_view TextNames[] = { "TPE2", "TPE3", "TPE4", "TIT1", "TIT3", "TBPM", "TCOP", "TDAT", "TIME",
    "TDLY", "TENC", "TEXT", "TFLT", "TKEY", "TLAN", "TLEN", "TMED", "TOAL", "TOFN", "TOLY", "TOPE", "TORY", "TOWN",
    "TPOS", "TPUB", "TRDA", "TRSN", "TRSO", "TSIZ", "TSRC", "TSSE", "TDOR", "TDEN", "TDRL", "TDTG", "TIPL", "TMCL",
    "TMOO", "TPRO", "TSOA", "TSOP", "TSOT", "TSST", "TCMP", "TSO2", "TSOC", "TGID", "TKWD", "TDES", "TCAT", "GRP1",
    "MVNM", "MVIN", "TZZZ" };
constexpr std::string_view TextNamesOfV22[] = { "TP2", "TP3", "TT1", "TT3", "TBP", "TCR", "TDA", "TIM", "TEN", "TXT",
    "TOR", "TPA", "TSS", "TCP", "TID", "TZZ" };
/// Bytes of nobody knows what.
constexpr std::string_view OtherNames[] = { "PRIV", "UFID", "GEOB", "POPM", "PCNT", "MCDI", "WOAF", "WCOM", "WFED",
    "PCST", "RVA2", "RVAD", "EQUA", "RBUF", "LINK", "OWNE", "COMR", "ENCR", "GRID", "ETCO", "MLLT", "SYTC", "AENC",
    "USER", "IPLS", "WXXX", "CHAP", "CTOC", "SEEK", "ASPI", "SIGN", "XYZW", "CDM ", "RGAD", "NCON" };
constexpr std::string_view OtherNamesOfV22[] = { "UFI", "GEO", "POP", "CNT", "MCI", "WAF", "WFD", "PCS", "RVA", "EQU",
    "BUF", "LNK", "CRM", "IPL", "WXX", "XYZ" };
/// No names, and v2.2's in later tags.
constexpr std::string_view OddNames[]
    = { "Date", "ab12", "T\xC3\xA9X", "tit2", "TT2 ", "TP1\0"sv, "COM\0"sv, "TAL ", "PIC ", "T-IT" };

/// One ID3v2 tag.
class TagMaker {
public:
    TagMaker(Dice& dice, int version, bool hasPictures)
        : m_dice(dice)
        , m_version(version)
        , m_hasPictures(hasPictures)
    {
    }

    std::string make(bool footer = false)
    {
        std::string frames;
        for (unsigned count = m_dice.below(m_dice.percent(10) ? 20 : 7); count > 0; --count)
            frames += frame();
        std::uint8_t flags = 0;
        if (m_version > 2 && m_dice.percent(8)) {
            frames = extendedHeader() + frames;
            flags |= 0x40;
        }
        // Without pictures the flag may lie: undoing what was not done changes them.
        if (m_dice.percent(10) && (m_version < 4 || !m_hasPictures)) {
            flags |= 0x80;
            if (m_hasPictures || m_dice.percent(50))
                frames = unsynchronised(frames);
        }
        if (footer)
            return id3TagWithFooter(frames);
        std::size_t padding = m_dice.percent(40) ? m_dice.below(60) : 0;
        return id3Tag(m_version, frames, flags, padding);
    }

private:
    std::string extendedHeader()
    {
        if (m_version == 3)
            return m_dice.percent(50) ? bigEndian(6) + zeroed("\0\0\0\0\0\0")
                                      : bigEndian(10) + zeroed("\x80\0\0\0\0\0abcd");
        return syncsafe(6) + zeroed("\1\0");
    }

    std::string frame()
    {
        bool isOld = m_version == 2;
        unsigned kind = m_dice.below(100);
        std::string_view name = nameOfKind(kind, isOld);
        if (kind < 60)
            return wrapped(name, textBody());
        if (kind < 73)
            return wrapped(name, commentBody());
        if (kind < 81)
            return wrapped(name, pictureBody());
        if (kind < 84)
            return wrapped(name, m_dice.percent(70) ? lyricsBody() : m_dice.bytes(m_dice.below(9)));
        if (kind < 88)
            return wrapped(name, describedBody({}));
        return wrapped(name, otherBody());
    }

    std::string_view nameOfKind(unsigned kind, bool isOld)
    {
        if (kind < 40)
            return isOld ? m_dice.oneOf(ColumnNamesOfV22) : m_dice.oneOf(ColumnNames);
        if (kind < 55)
            return isOld ? m_dice.oneOf(TextNamesOfV22) : m_dice.oneOf(TextNames);
        if (kind < 60)
            return isOld ? "T@2" : m_dice.oneOf(OddNames);
        if (kind < 73)
            return kind < 70 ? (isOld ? "COM" : "COMM") : (isOld ? "ULT" : "USLT");
        if (kind < 81)
            return isOld ? "PIC" : "APIC";
        if (kind < 84)
            return isOld ? "SLT" : "SYLT";
        if (kind < 88)
            return isOld ? "TXX" : "TXXX";
        return isOld ? m_dice.oneOf(OtherNamesOfV22) : m_dice.oneOf(OtherNames);
    }

    /// The frame with its header, and what the header's flags say of it.
    std::string wrapped(std::string_view name, std::string body)
    {
        if (m_version == 2 || m_dice.percent(82))
            return id3Frame(m_version, name, body);
        return m_version == 3 ? wrapped3(name, std::move(body)) : wrapped4(name, std::move(body));
    }

    std::string wrapped3(std::string_view name, std::string body)
    {
        std::uint16_t flags = m_dice.percent(30) ? 0x8000 : 0;
        std::string before;
        if (m_dice.percent(50)) {
            flags |= 0x80;
            before = bigEndian(static_cast<std::uint32_t>(body.size() + (m_dice.percent(10) ? 1 : 0)));
            body = stored(body);
        }
        if (m_dice.percent(15)) {
            flags |= 0x40;
            before += 'm';
        }
        if (m_dice.percent(40)) {
            flags |= 0x20;
            before += 'g';
        }
        return id3Frame(m_version, name, before + body, flags);
    }

    std::string wrapped4(std::string_view name, std::string body)
    {
        std::uint16_t flags = m_dice.percent(20) ? 0x4000 : 0;
        std::string before;
        std::uint32_t length = static_cast<std::uint32_t>(body.size());
        if (m_dice.percent(35)) {
            flags |= 0x40;
            before = "G";
        }
        if (m_dice.percent(15)) {
            flags |= 4;
            before += 'm';
        }
        bool packed = m_dice.percent(40);
        if (packed || m_dice.percent(40)) {
            flags |= packed ? 9 : 1;
            before += syncsafe(length + (m_dice.percent(10) ? 1 : 0));
        }
        if (packed)
            body = stored(body);
        if (m_dice.percent(30)) {
            flags |= 2;
            body = unsynchronised(body);
        }
        // A size that is not syncsafe is around, too.
        std::string frame = id3Frame(m_version, name, before + body, flags);
        if (m_dice.percent(10))
            frame.replace(4, 4, bigEndian(static_cast<std::uint32_t>(before.size() + body.size())));
        return frame;
    }

    /// Compressed without being made smaller, which is the same with every zlib.
    static std::string stored(const std::string& bytes)
    {
        std::uint32_t low = 1;
        std::uint32_t high = 0;
        for (char byte : bytes) {
            low = (low + static_cast<std::uint8_t>(byte)) % 65521;
            high = (high + low) % 65521;
        }
        auto little = [](std::size_t size) {
            return std::string { static_cast<char>(size & 0xFF), static_cast<char>(size >> 8 & 0xFF) };
        };
        std::size_t size = std::min<std::size_t>(bytes.size(), 0xFFFF);
        return "\x78\x01\x01" + little(size) + little(~size) + bytes.substr(0, size) + bigEndian(high << 16 | low);
    }

    std::uint8_t encoding()
    {
        unsigned choice = m_dice.below(40);
        if (choice == 0)
            return static_cast<std::uint8_t>(m_dice.below(256));
        return static_cast<std::uint8_t>(choice < 14 ? 0 : choice < 27 ? 1 : choice < 32 ? 2 : 3);
    }

    std::string utf8Text()
    {
        if (m_dice.percent(6))
            return {};
        std::string text(m_dice.oneOf(TagTexts));
        while (m_dice.percent(15))
            text += m_dice.oneOf(TagTexts);
        if (m_dice.percent(2))
            text += std::string(m_dice.below(3000), 'x');
        return text;
    }

    std::string text(std::uint8_t encoding)
    {
        std::string utf8 = utf8Text();
        if (encoding == 1 || encoding == 2)
            return units(encoding, utf8);
        if (encoding == 3)
            return m_dice.percent(90) ? utf8 : m_dice.bytes(m_dice.below(8));
        switch (m_dice.below(6)) {
        case 0:
            return m_dice.bytes(m_dice.below(12));
        case 1:
            return utf8; // labelled wrongly
        case 2:
            return "\xC7\xD1\xB1\xB9"; // Korean in code page 949
        default:
            return narrow(utf8);
        }
    }

    static std::string narrow(const std::string& utf8)
    {
        std::string text;
        for (char16_t unit : utf16FromUtf8(utf8))
            text += static_cast<char>(unit);
        return text;
    }

    std::string units(std::uint8_t encoding, const std::string& utf8)
    {
        std::u16string text = utf16FromUtf8(utf8);
        if (m_dice.percent(4)) {
            char16_t half = m_dice.percent(50) ? u'\xD800' : u'\xDC00';
            text.insert(m_dice.below(text.size() + 1), 1, half);
        }
        bool isBig = encoding == 2 || m_dice.percent(40);
        bool marked = m_dice.percent(encoding == 1 ? 85 : 10);
        std::string bytes = marked ? (isBig ? MarkBE : MarkLE) : std::string();
        if (marked && m_dice.percent(4))
            bytes += m_dice.percent(50) ? MarkBE : MarkLE;
        for (char16_t unit : text) {
            auto high = static_cast<char>(unit >> 8);
            auto low = static_cast<char>(unit);
            bytes += isBig ? std::string { high, low } : std::string { low, high };
        }
        if (m_dice.percent(6))
            bytes += static_cast<char>(m_dice.below(256)); // half a unit
        return bytes;
    }

    std::string terminator(std::uint8_t encoding)
    {
        bool wide = encoding == 1 || encoding == 2;
        return std::string(m_dice.percent(95) == wide ? 2 : 1, '\0');
    }

    /// One text, or several; with and without what ends them.
    std::string texts(std::uint8_t encoding)
    {
        std::string all = text(encoding);
        while (m_dice.percent(15)) {
            all += terminator(encoding);
            all += text(encoding);
        }
        for (unsigned ends = m_dice.percent(25) ? 1 + m_dice.below(3) : 0; ends > 0; --ends)
            all += terminator(encoding);
        return all;
    }

    std::string textBody()
    {
        if (m_dice.percent(3))
            return m_dice.bytes(m_dice.below(4));
        std::uint8_t kind = encoding();
        return static_cast<char>(kind) + texts(kind);
    }

    std::string describedBody(std::string_view language)
    {
        std::uint8_t kind = encoding();
        std::string body = static_cast<char>(kind) + std::string(language);
        if (m_dice.percent(50))
            body += text(kind);
        else if (kind == 1 && m_dice.percent(50))
            body += MarkLE;
        body += terminator(kind);
        body += texts(kind);
        return body;
    }

    std::string commentBody()
    {
        std::string body = describedBody(m_dice.oneOf(Languages));
        return m_dice.percent(4) ? body.substr(0, m_dice.below(9)) : body;
    }

    std::string lyricsBody() { return zeroed("\0eng\2\1words\0") + bigEndian(1000); }

    std::string otherBody() { return m_dice.percent(50) ? m_dice.bytes(m_dice.below(30)) : describedBody("eng"); }

    std::string pictureBody()
    {
        static constexpr std::string_view Types[]
            = { "image/jpeg", "image/png", "image/bmp", "", "PNG", "-->", "image/" };
        static constexpr std::string_view Formats[] = { "JPG", "PNG", "BMP", "-->", "jpg", "\0\0\0"sv };
        std::uint8_t kind = encoding();
        std::string body(1, static_cast<char>(kind));
        if (m_version == 2)
            body += m_dice.oneOf(Formats);
        else
            body += std::string(m_dice.oneOf(Types)) + '\0';
        body += static_cast<char>(m_dice.below(24));
        if (m_dice.percent(40))
            body += text(kind);
        body += terminator(kind);
        if (m_dice.percent(4))
            return body.substr(0, m_dice.below(body.size() + 1));
        return body + pictureData();
    }

    std::string pictureData()
    {
        if (!m_hasPictures || m_dice.percent(10))
            return m_dice.bytes(m_dice.below(20));
        const std::string& data = m_dice.oneOf(coverPictures());
        return m_dice.percent(6) ? data.substr(0, m_dice.below(10)) : data;
    }

    Dice& m_dice;
    int m_version;
    bool m_hasPictures;
};

} // namespace

std::string randomId3v2Tag(Dice& dice, int version, bool hasPictures, bool hasFooter)
{
    return TagMaker(dice, version, hasPictures).make(hasFooter);
}

} // namespace mv::test
