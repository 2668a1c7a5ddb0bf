#include "Base/Core/ByteReader.h"
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::string text(const Bytes& bytes) { return std::string(charsOf(bytes)); }

// WAVE

std::string riffChunk(std::string_view id, std::string content)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.text(id);
    writer.u32le(static_cast<std::uint32_t>(content.size()));
    writer.text(content + std::string(content.size() % 2, '\0'));
    return text(bytes);
}

std::string wave(const std::string& chunks)
{
    Bytes format;
    ByteWriter writer(format);
    writer.u16le(1);
    writer.u16le(2);
    writer.u32le(44100);
    writer.u32le(44100 * 4);
    writer.u16le(4);
    writer.u16le(16);
    return riffChunk(
        "RIFF", "WAVE" + riffChunk("fmt ", text(format)) + riffChunk("data", std::string(44100, '\0')) + chunks);
}

TEST(WaveFacts, InfoListsAndTags)
{
    std::string info = riffChunk("LIST",
        "INFO" + riffChunk("INAM", "Name") + riffChunk("IART", zeroed("Artist\0")) + riffChunk("IPRD", "Product")
            + riffChunk("IGNR", "Genre") + riffChunk("ICRD", "2010-05-04") + riffChunk("ITRK", "7"));
    std::string tag = riffChunk("id3 ", id3Tag(4, id3Frame(4, "TIT2", "\3Title")));
    auto facts = describedBytes(wave(info + tag));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Title), "Title") << "the tag says more";
    EXPECT_EQ(textOf(*facts, fact::Artist), "Artist");
    EXPECT_EQ(textOf(*facts, fact::Album), "Product");
    EXPECT_EQ(textOf(*facts, fact::Genre), "Genre");
    EXPECT_EQ(textOf(*facts, fact::ContentCreated), "2010-05-04");
    EXPECT_EQ(textOf(*facts, fact::TrackNumber), "7");
    EXPECT_EQ(textOf(*facts, fact::AudioCodec), "pcm_s16le");
    EXPECT_EQ(textOf(*facts, fact::Length), "250000");
    EXPECT_EQ(textOf(*facts, fact::Bitrate), "1411200");
}

TEST(WaveFacts, SizesOf64Bits)
{
    Bytes sizes;
    ByteWriter writer(sizes);
    writer.u64le(0); // of the file
    writer.u64le(44100); // of the sound
    writer.u64le(0);
    writer.u32le(0);
    const std::string plain = wave(riffChunk("LIST", "INFO" + riffChunk("INAM", "Name")));
    for (const char* form : { "RF64", "BW64" }) {
        std::string wide = plain;
        wide.insert(12, riffChunk("ds64", text(sizes)));
        wide.replace(wide.find("data") + 4, 4, "\xFF\xFF\xFF\xFF");
        wide.replace(0, 8, form + std::string("\xFF\xFF\xFF\xFF"));
        auto facts = describedBytes(wide);
        ASSERT_TRUE(facts.ok()) << form;
        EXPECT_EQ(textOf(*facts, fact::MimeType), "audio/x-wav") << form;
        EXPECT_EQ(textOf(*facts, fact::Length), "250000") << form;
        EXPECT_EQ(textOf(*facts, fact::Title), "Name") << form;
    }
}

TEST(WaveFacts, KoreanInfoLists)
{
    auto facts = describedBytes(wave(riffChunk("LIST", "INFO" + riffChunk("INAM", "\xB0\xA1\xB3\xAA\xB4\xD9"))));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::Title), "가나다");
}

// AIFF

TEST(AiffFacts, PacketsOfCompressedSound)
{
    Bytes common;
    ByteWriter writer(common);
    writer.u16be(2);
    writer.u32be(689); // packets
    writer.u16be(16); // bits of what comes out
    writer.bytes(Bytes { 0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0 }); // 44,100 Hz
    writer.text("ima4");
    writer.u16be(0);
    Bytes file;
    ByteWriter form(file);
    form.text("FORM");
    form.u32be(static_cast<std::uint32_t>(4 + 8 + common.size()));
    form.text("AIFCCOMM");
    form.u32be(static_cast<std::uint32_t>(common.size()));
    form.bytes(common);
    auto facts = describedBytes(charsOf(file));
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(textOf(*facts, fact::AudioCodec), "adpcm_ima_qt");
    EXPECT_EQ(textOf(*facts, fact::Length), "999909");
    EXPECT_EQ(textOf(*facts, fact::Bitrate), "374850") << "34 bytes for 64 samples of each channel";
}

} // namespace
} // namespace mv::test
