// One EXIF block in every kind of picture that carries one.
#include "Base/Core/ByteReader.h"
#include "tests/facts/reading/Described.h"
#include "tests/facts/reading/FactsText.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

constexpr int GpsLatitudeRef = 1;
constexpr int GpsLatitude = 2;
constexpr int GpsLongitudeRef = 3;
constexpr int GpsLongitude = 4;
constexpr int GpsAltitudeRef = 5;
constexpr int GpsAltitude = 6;
constexpr int LensModel = 0xA434;
constexpr int OffsetTimeOriginal = 0x9011;
constexpr unsigned Rational = 5;
constexpr unsigned Byte = 1;

/// Rationals with the denominator 1.
Bytes rationals(ByteOrder order, std::initializer_list<std::uint32_t> values)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    for (std::uint32_t value : values) {
        for (std::uint32_t number : { value, 1u })
            order == ByteOrder::Intel ? writer.u32le(number) : writer.u32be(number);
    }
    return bytes;
}

ExifMaker camera(ByteOrder order)
{
    ExifMaker maker(order);
    maker.ascii(ExifMaker::Ifd0, EXIF_TAG_MAKE, "Maker");
    maker.ascii(ExifMaker::Ifd0, EXIF_TAG_MODEL, "Model X ");
    maker.shortValue(ExifMaker::Ifd0, EXIF_TAG_ORIENTATION, 6);
    maker.rational(ExifMaker::ExifIfd, EXIF_TAG_EXPOSURE_TIME, 1, 200);
    maker.rational(ExifMaker::ExifIfd, EXIF_TAG_FNUMBER, 28, 10);
    maker.shortValue(ExifMaker::ExifIfd, EXIF_TAG_ISO_SPEED_RATINGS, 400);
    maker.ascii(ExifMaker::ExifIfd, EXIF_TAG_DATE_TIME_ORIGINAL, "2013:05:01 12:34:56");
    maker.ascii(ExifMaker::ExifIfd, OffsetTimeOriginal, "+09:00");
    maker.rational(ExifMaker::ExifIfd, EXIF_TAG_FOCAL_LENGTH, 50, 1);
    maker.undefined(ExifMaker::ExifIfd, EXIF_TAG_MAKER_NOTE, std::string(5000, 'm'));
    maker.ascii(ExifMaker::ExifIfd, LensModel, "Lens 50mm");
    maker.ascii(ExifMaker::GpsIfd, GpsLatitudeRef, "S");
    maker.raw(ExifMaker::GpsIfd, GpsLatitude, Rational, 3, rationals(order, { 33, 30, 36 }));
    maker.ascii(ExifMaker::GpsIfd, GpsLongitudeRef, "E");
    maker.raw(ExifMaker::GpsIfd, GpsLongitude, Rational, 3, rationals(order, { 151, 15, 0 }));
    maker.raw(ExifMaker::GpsIfd, GpsAltitudeRef, Byte, 1, { 1 });
    maker.raw(ExifMaker::GpsIfd, GpsAltitude, Rational, 1, rationals(order, { 12 }));
    return maker;
}

/// The block without the mark in front of it.
Bytes tiffBlock(const Bytes& block) { return { block.begin() + 6, block.end() }; }

Bytes webP(const Bytes& exif)
{
    Bytes chunks;
    ByteWriter writer(chunks);
    writer.text("WEBPVP8X");
    writer.u32le(10);
    writer.bytes(Bytes { 8, 0, 0, 0, 15, 0, 0, 7, 0, 0 }); // 16 x 8
    writer.text("EXIF");
    writer.u32le(static_cast<std::uint32_t>(exif.size()));
    writer.bytes(exif);
    writer.zeros(exif.size() % 2);
    Bytes file;
    ByteWriter whole(file);
    whole.text("RIFF");
    whole.u32le(static_cast<std::uint32_t>(chunks.size()));
    whole.bytes(chunks);
    return file;
}

/// Of two items, the picture and the block; the block lies in a box of its own. `extra` are further properties of the
/// picture.
Bytes heif(std::string_view brand, const Bytes& exif, const std::vector<Bytes>& extra = {})
{
    auto entry = [](int id, std::string_view type) {
        return fullBox(
            "infe", 2, 0, { number(static_cast<std::uint64_t>(id), 2), number(0, 2), bytes(type), number(0, 1) });
    };
    Bytes payload = joined({ number(0, 4), exif });
    std::vector<Bytes> properties { fullBox("ispe", 0, 0, { number(16, 4), number(8, 4) }) };
    Bytes indices = number(1, 1);
    for (std::size_t i = 0; i < extra.size(); ++i) {
        properties.push_back(extra[i]);
        indices.push_back(static_cast<std::uint8_t>(i + 2));
    }
    Bytes associations = joined({ number(1, 4), number(1, 2), number(indices.size(), 1), indices });
    auto meta = [&](std::uint64_t offset) {
        return fullBox("meta", 0, 0,
            { fullBox("hdlr", 0, 0, { number(0, 4), bytes("pict"), Bytes(13) }),
                fullBox("pitm", 0, 0, { number(1, 2) }),
                fullBox("iinf", 0, 0, { number(2, 2), entry(1, "hvc1"), entry(2, "Exif") }),
                box("iprp", { box("ipco", properties), fullBox("ipma", 0, 0, { associations }) }),
                fullBox("iloc", 0, 0,
                    { number(0x44, 1), number(0, 1), number(1, 2), number(2, 2), number(0, 2), number(1, 2),
                        number(offset, 4), number(payload.size(), 4) }) });
    };
    Bytes type = box("ftyp", joined({ bytes(brand), number(0, 4), bytes("mif1"), bytes(brand) }));
    std::uint64_t offset = type.size() + meta(0).size() + 8;
    return joined({ type, meta(offset), box("mdat", payload) });
}

struct Carrier {
    const char* name;
    Bytes (*make)(const Bytes& block);
    const char* mimeType;
};

const Carrier Carriers[] = {
    { "JPEG", [](const Bytes& block) { return jpegPicture(16, 8, block); }, "image/jpeg" },
    { "PNG", [](const Bytes& block) { return pngPicture(16, 8, block); }, "image/png" },
    { "WebP", [](const Bytes& block) { return webP(tiffBlock(block)); }, "image/webp" },
    { "WebPWithMark", [](const Bytes& block) { return webP(block); }, "image/webp" },
    { "HEIF", [](const Bytes& block) { return heif("heic", tiffBlock(block)); }, "image/heif" },
    { "AVIF", [](const Bytes& block) { return heif("avif", tiffBlock(block)); }, "image/avif" },
};

void expectCamera(const Facts& facts)
{
    EXPECT_EQ(textOf(facts, fact::CameraMake), "Maker");
    EXPECT_EQ(textOf(facts, fact::CameraModel), "Model X");
    EXPECT_EQ(textOf(facts, fact::Lens), "Lens 50mm");
    EXPECT_EQ(textOf(facts, fact::ExposureTime), "0.005");
    EXPECT_EQ(textOf(facts, fact::FNumber), "2.8");
    EXPECT_EQ(textOf(facts, fact::FocalLength), "50");
    EXPECT_EQ(textOf(facts, fact::Iso), "400");
    EXPECT_EQ(textOf(facts, fact::ContentCreated), "2013-05-01T12:34:56+09:00");
    EXPECT_EQ(textOf(facts, fact::Orientation), "6");
    EXPECT_EQ(textOf(facts, fact::Latitude), "-33.51");
    EXPECT_EQ(textOf(facts, fact::Longitude), "151.25");
    EXPECT_EQ(textOf(facts, fact::Altitude), "-12");
}

TEST(Carriers, AllSayTheSame)
{
    for (ByteOrder order : { ByteOrder::Intel, ByteOrder::Motorola }) {
        Bytes block = camera(order).block();
        for (const Carrier& carrier : Carriers) {
            SCOPED_TRACE(carrier.name);
            auto facts = describedBytes(charsOf(carrier.make(block)));
            ASSERT_TRUE(facts.ok());
            EXPECT_EQ(textOf(*facts, fact::Kind), "picture");
            EXPECT_EQ(textOf(*facts, fact::MimeType), carrier.mimeType);
            EXPECT_EQ(textOf(*facts, fact::Width) + "x" + textOf(*facts, fact::Height), "16x8");
            expectCamera(*facts);
        }
        SCOPED_TRACE("TIFF");
        auto facts = describedBytes(charsOf(tiffBlock(block)));
        ASSERT_TRUE(facts.ok());
        EXPECT_EQ(textOf(*facts, fact::MimeType), "image/tiff");
        expectCamera(*facts);
    }
}

TEST(Carriers, WhatTheContainerTurnsIsWhatCounts)
{
    auto orientation = [](const std::vector<Bytes>& properties) {
        auto facts = describedBytes(charsOf(heif("heic", tiffBlock(camera(ByteOrder::Intel).block()), properties)));
        return facts ? textOf(*facts, fact::Orientation) : std::string("none");
    };
    auto turn = [](int quarters) { return box("irot", number(static_cast<std::uint64_t>(quarters), 1)); };
    auto mirror = [](int axis) { return box("imir", number(static_cast<std::uint64_t>(axis), 1)); };
    EXPECT_EQ(orientation({ turn(1) }), "8") << "a quarter to the left";
    EXPECT_EQ(orientation({ turn(2) }), "3");
    EXPECT_EQ(orientation({ turn(3) }), "6");
    EXPECT_EQ(orientation({ turn(0) }), "1");
    EXPECT_EQ(orientation({ mirror(1) }), "2") << "left and right";
    EXPECT_EQ(orientation({ mirror(0) }), "4") << "top and bottom";
    EXPECT_EQ(orientation({ turn(1), mirror(1) }), "7") << "turned, then mirrored";
    EXPECT_EQ(orientation({}), "6") << "what the camera says where the container has no say";
}

std::string dateOf(const ExifMaker& maker)
{
    auto facts = describedBytes(charsOf(jpegPicture(4, 4, maker.block())));
    return facts ? textOf(*facts, fact::ContentCreated) : "error";
}

TEST(Carriers, DatesAreTheCamerasOwn)
{
    EXPECT_EQ(dateOf(ExifMaker().ascii(ExifMaker::ExifIfd, EXIF_TAG_DATE_TIME_ORIGINAL, "2013:05:01 12:34:56")),
        "2013-05-01T12:34:56");
    EXPECT_EQ(dateOf(ExifMaker().ascii(ExifMaker::ExifIfd, EXIF_TAG_DATE_TIME_ORIGINAL, "2013: 5: 1 12: 0: 0")),
        "2013-05-01T12:00:00");
    EXPECT_EQ(dateOf(ExifMaker()
                         .ascii(ExifMaker::ExifIfd, EXIF_TAG_DATE_TIME_ORIGINAL, "0000:00:00 00:00:00")
                         .ascii(ExifMaker::ExifIfd, EXIF_TAG_DATE_TIME_DIGITIZED, "2012:01:02 03:04:05")),
        "2012-01-02T03:04:05");
    EXPECT_EQ(
        dateOf(ExifMaker().ascii(ExifMaker::Ifd0, EXIF_TAG_DATE_TIME, "2011:01:02 03:04:05")), "2011-01-02T03:04:05");
    EXPECT_EQ(dateOf(ExifMaker().ascii(ExifMaker::Ifd0, EXIF_TAG_MAKE, "M")), "");
}

} // namespace
} // namespace mv::test
