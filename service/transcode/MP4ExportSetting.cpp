#include "service/transcode/MP4ExportSetting.h"

#include "Base/Core/ByteReader.h"
#include "platform/AtomContainer.h"

namespace mv {

namespace {

QTAtom branch(OSType type, std::vector<QTAtom> children) { return { type, 1, {}, std::move(children) }; }

// A leaf of `size` bytes whose last bytes of value are `value`; 0 for a structure that says nothing.
template <std::size_t N> QTAtom leaf(const char (&type)[N], std::size_t size, std::uint64_t value = 0)
{
    QTAtom atom { fourCC(type), 1, Bytes(size), {} };
    for (std::size_t i = 0; i < std::min<std::size_t>(size, sizeof value); ++i)
        atom.data[size - 1 - i] = static_cast<std::uint8_t>(value >> (8 * i));
    return atom;
}

constexpr std::uint64_t SampleRate44100 = 0xAC440000; // 16.16

QTAtom videoSettings()
{
    return branch(fourCC("vide"),
        {
            leaf("sptl", 18), // codec, depth, spatial quality
            leaf("tprl", 12), // temporal quality, frame rate, key frames
            leaf("drat", 16), // data rate
            leaf("mpso", 4),
            leaf("mfra", 8),
            leaf("psfr", 4),
            leaf("bfra", 4),
            leaf("mpes", 4),
            leaf("hard", 4),
            leaf("ends", 4),
            leaf("cflg", 4),
            leaf("cmfr", 4, fourCC("appl")),
            leaf("clut", 22), // colour table
            leaf("vers", 4, 3),
        });
}

QTAtom sizeSettings()
{
    return branch(fourCC("isiz"),
        {
            leaf("iwdt", 4, 0), // keep the source's size
            leaf("ihgt", 4, 0),
            leaf("scam", 4, fourCC("sp2p")),
        });
}

QTAtom soundSettings()
{
    return branch(fourCC("soun"),
        {
            leaf("ssct", 4, fourCC("twos")),
            leaf("ssrt", 4, SampleRate44100),
            leaf("ssss", 4, 16),
            leaf("sscc", 4, 1),
        });
}

QTAtom exportSettings()
{
    return branch(fourCC("sean"),
        {
            videoSettings(),
            sizeSettings(),
            soundSettings(),
            leaf("ftyp", 4, fourCC("mp42")),
            leaf("envi", 4, fourCC("past")),
            leaf("enso", 4, fourCC("past")),
            leaf("conf", 4, fourCC("mpg4")),
            leaf("chan", 4, 1),
            leaf("aqlt", 4, 0x60),
            leaf("hint", 4, 1),
            leaf("psiz", 4, 1450),
            leaf("pdur", 4, 100),
            leaf("base", 4, 0),
            leaf("txen", 4, 0),
            leaf("rtxt", 4, 0),
            leaf("rsmk", 4, 0),
            leaf("bfrm", 4, 0),
            leaf("prof", 4, 0),
            leaf("vrai", 4, 0),
        });
}

} // namespace

const Bytes& _mp4_export_setting()
{
    static const Bytes container = bytesOfAtomContainer(exportSettings());
    return container;
}

} // namespace mv
