#include "service/transcode/MP4ExportSetting.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "platform/AtomContainer.h"
#include "platform/MovieToolbox.h"

#include <gtest/gtest.h>
#include <map>

namespace mv {
namespace {

void listLeaves(const QTAtom& atom, const std::string& path, std::map<std::string, std::uint64_t>& leaves)
{
    std::string name = path + "/" + fourCharacterText(atom.type);
    EXPECT_EQ(atom.id, 1u) << name;
    if (atom.children.empty())
        leaves[name] = atom.number();
    for (const QTAtom& child : atom.children)
        listLeaves(child, name, leaves);
}

TEST(MP4ExportSetting, Has1036Bytes) { EXPECT_EQ(_mp4_export_setting().size(), 1036u); }

// Sizes by the headers alone, without the reader: a container header of 12 bytes, then atoms of 20 and their content.
TEST(MP4ExportSetting, HeadersAreWhereTheyBelong)
{
    ByteReader reader(_mp4_export_setting());
    for (std::uint8_t byte : reader.take(12))
        EXPECT_EQ(byte, 0);
    EXPECT_EQ(reader.u32be(), 1024u);
    EXPECT_EQ(reader.u32be(), fourCC("sean"));
    EXPECT_EQ(reader.u32be(), 1u);
    EXPECT_EQ(reader.u16be(), 0u);
    EXPECT_EQ(reader.u16be(), 19u);
    EXPECT_EQ(reader.u32be(), 0u);
    EXPECT_EQ(reader.position(), 32u);
    std::size_t children = 0;
    for (; !reader.atEnd(); ++children) {
        std::uint32_t size = reader.u32be();
        ASSERT_GE(size, 20u);
        reader.skip(size - 4);
        ASSERT_FALSE(reader.failed());
    }
    EXPECT_EQ(children, 19u);
}

TEST(MP4ExportSetting, EveryLeafHasItsValue)
{
    auto root = readAtomContainer(_mp4_export_setting());
    ASSERT_TRUE(root.ok());
    std::map<std::string, std::uint64_t> leaves;
    listLeaves(*root, "", leaves);
    const std::map<std::string, std::uint64_t> expected {
        { "/sean/vide/sptl", 0 },
        { "/sean/vide/tprl", 0 },
        { "/sean/vide/drat", 0 },
        { "/sean/vide/mpso", 0 },
        { "/sean/vide/mfra", 0 },
        { "/sean/vide/psfr", 0 },
        { "/sean/vide/bfra", 0 },
        { "/sean/vide/mpes", 0 },
        { "/sean/vide/hard", 0 },
        { "/sean/vide/ends", 0 },
        { "/sean/vide/cflg", 0 },
        { "/sean/vide/cmfr", fourCC("appl") },
        { "/sean/vide/clut", 0 },
        { "/sean/vide/vers", 3 },
        { "/sean/isiz/iwdt", 0 },
        { "/sean/isiz/ihgt", 0 },
        { "/sean/isiz/scam", fourCC("sp2p") },
        { "/sean/soun/ssct", fourCC("twos") },
        { "/sean/soun/ssrt", 0xAC440000 },
        { "/sean/soun/ssss", 16 },
        { "/sean/soun/sscc", 1 },
        { "/sean/ftyp", fourCC("mp42") },
        { "/sean/envi", fourCC("past") },
        { "/sean/enso", fourCC("past") },
        { "/sean/conf", fourCC("mpg4") },
        { "/sean/chan", 1 },
        { "/sean/aqlt", 0x60 },
        { "/sean/hint", 1 },
        { "/sean/psiz", 1450 },
        { "/sean/pdur", 100 },
        { "/sean/base", 0 },
        { "/sean/txen", 0 },
        { "/sean/rtxt", 0 },
        { "/sean/rsmk", 0 },
        { "/sean/bfrm", 0 },
        { "/sean/prof", 0 },
        { "/sean/vrai", 0 },
    };
    EXPECT_EQ(leaves, expected);
}

TEST(MP4ExportSetting, TheExporterUnderstandsIt)
{
    MovieExporter exporter;
    ASSERT_EQ(MovieToolbox::shared().MovieExportSetSettingsFromAtomContainer(exporter, _mp4_export_setting()), noErr);
    EXPECT_EQ(exporter.settings.brand, fourCC("mp42"));
    EXPECT_TRUE(exporter.settings.passVideoThrough);
    EXPECT_TRUE(exporter.settings.passSoundThrough);
    EXPECT_TRUE(exporter.settings.hinted);
    EXPECT_EQ(exporter.settings.packetSize, 1450u);
}

TEST(MP4ExportSetting, DamagedContainersAreRefused)
{
    const Bytes whole = _mp4_export_setting();
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(readAtomContainer(ByteView(whole).first(size)).ok()) << size;
    for (std::size_t at : { 12u, 13u, 15u, 27u, 32u, 35u, 47u }) {
        Bytes damaged = whole;
        damaged[at] ^= 0x81;
        EXPECT_FALSE(readAtomContainer(damaged).ok()) << at;
    }
    MovieExporter exporter;
    EXPECT_EQ(MovieToolbox::shared().MovieExportSetSettingsFromAtomContainer(exporter, {}), paramErr);
}

TEST(FixedPoint, RoundsAsDocumented)
{
    EXPECT_EQ(Long2Fix(100), 100 << 16);
    EXPECT_EQ(Fix2Long(0x8000), 1);
    EXPECT_EQ(Fix2Long(0x7FFF), 0);
    EXPECT_EQ(Fix2Long(-0x8000), 0);
    EXPECT_EQ(Fix2Long(FixMul(0x8000, Long2Fix(100))), 50);
    EXPECT_EQ(FixMul(Long2Fix(3), Long2Fix(-2)), Long2Fix(-6));
}

} // namespace
} // namespace mv
