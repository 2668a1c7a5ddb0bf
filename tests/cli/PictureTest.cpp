#include "cli/JsonText.h"
#include "cli/PictureDecoding.h"
#include "cli/PictureFile.h"
#include "cli/SheetPage.h"
#include "cli/TerminalPicture.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

Bitmap picture(int width, int height, std::initializer_list<std::uint8_t> pixel)
{
    Bitmap bitmap { width, height, {} };
    for (int i = 0; i < width * height; ++i)
        bitmap.pixels.insert(bitmap.pixels.end(), pixel);
    return bitmap;
}

TEST(PictureFile, APngHoldsTheVeryPixels)
{
    Bitmap bitmap { 3, 2, {} };
    for (int i = 0; i < 24; ++i)
        bitmap.pixels.push_back(static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i * 10));
    auto back = bitmapOf(pngOf(bitmap));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->width, 3);
    EXPECT_EQ(back->height, 2);
    EXPECT_EQ(back->pixels, bitmap.pixels);
}

TEST(PictureFile, AJpegIsNearThePixels)
{
    auto jpeg = jpegOf(picture(16, 16, { 200, 100, 50, 255 }));
    ASSERT_TRUE(jpeg.ok());
    auto back = bitmapOf(*jpeg);
    ASSERT_TRUE(back.ok());
    EXPECT_NEAR(back->pixels[0], 200, 3);
    EXPECT_NEAR(back->pixels[1], 100, 3);
    EXPECT_NEAR(back->pixels[2], 50, 3);
}

TEST(PictureFile, FlatteningMixesWithTheBackground)
{
    EXPECT_EQ(flattened(picture(1, 1, { 0, 100, 255, 0 }), Color::white()).pixels, (Bytes { 255, 255, 255, 255 }));
    EXPECT_EQ(flattened(picture(1, 1, { 0, 100, 255, 255 }), Color::white()).pixels, (Bytes { 0, 100, 255, 255 }));
    EXPECT_EQ(flattened(picture(1, 1, { 0, 100, 200, 128 }), Color::black()).pixels, (Bytes { 0, 50, 100, 255 }));
}

TEST(PictureFile, TheEndingChoosesTheForm)
{
    Bytes source = pngOf(picture(2, 2, { 1, 2, 3, 255 }));
    EXPECT_EQ(*pictureFor("tif", source), source);
    EXPECT_EQ((*pictureFor("png", source))[1], 'P');
    EXPECT_EQ((*pictureFor("jpeg", source))[0], 0xff);
    EXPECT_EQ(pictureFor("gif", source).error().text, "the name must end in .tif, .png or .jpg");
    EXPECT_FALSE(pictureFor("png", Bytes { 1, 2, 3 }).ok());
}

TEST(PictureFile, PagesGetJpegOrPngWhereSomethingIsTransparent)
{
    EXPECT_THAT(
        *dataAddress(pngOf(picture(2, 2, { 1, 2, 3, 255 }))), testing::StartsWith("data:image/jpeg;base64,/9j/"));
    EXPECT_THAT(*dataAddress(pngOf(picture(2, 2, { 1, 2, 3, 9 }))), testing::StartsWith("data:image/png;base64,iVBO"));
}

TEST(TerminalPicture, KittyTakesPiecesOfPng)
{
    std::string text = terminalPicture(picture(2, 2, { 255, 0, 0, 255 }), PictureProtocol::Kitty);
    EXPECT_THAT(text, testing::StartsWith("\033_Gf=100,a=T,m=0;iVBO"));
    EXPECT_THAT(text, testing::EndsWith("\033\\\n"));
    Bitmap noise { 100, 100, {} };
    std::uint32_t state = 1;
    for (int i = 0; i < 40000; ++i) {
        state = state * 1664525 + 1013904223;
        noise.pixels.push_back(static_cast<std::uint8_t>(state >> 24));
    }
    std::string large = terminalPicture(noise, PictureProtocol::Kitty);
    EXPECT_THAT(large, testing::StartsWith("\033_Gf=100,a=T,m=1;"));
    EXPECT_THAT(large, testing::HasSubstr("\033_Gm=1;"));
    EXPECT_THAT(large, testing::HasSubstr("\033_Gm=0;"));
}

TEST(TerminalPicture, ITermTakesTheWholePng)
{
    Bitmap bitmap = picture(2, 2, { 255, 0, 0, 255 });
    std::string size = std::to_string(pngOf(bitmap).size());
    EXPECT_EQ(terminalPicture(bitmap, PictureProtocol::ITerm),
        "\033]1337;File=inline=1;size=" + size + ":" + base64(pngOf(bitmap)) + "\a\n");
}

TEST(TerminalPicture, SixelsAreBandsOfSixRows)
{
    // Pure red is colour 180 of 6 x 6 x 6; seven rows are a full band and one with one row.
    std::string text = terminalPicture(picture(2, 7, { 255, 0, 0, 255 }), PictureProtocol::Sixel);
    EXPECT_THAT(text, testing::StartsWith("\033Pq#0;2;0;0;0"));
    EXPECT_THAT(text, testing::HasSubstr("#180;2;100;0;0"));
    EXPECT_THAT(text, testing::EndsWith("#180~~$-#180@@$-\033\\\n"));
}

TEST(TerminalPicture, ProtocolsHaveNames)
{
    EXPECT_EQ(protocolNamed("kitty"), PictureProtocol::Kitty);
    EXPECT_EQ(protocolNamed("iterm"), PictureProtocol::ITerm);
    EXPECT_EQ(protocolNamed("sixel"), PictureProtocol::Sixel);
    EXPECT_EQ(protocolNamed("ascii"), std::nullopt);
}

TEST(SheetPage, EscapesEveryText)
{
    EXPECT_EQ(htmlText("<a href=\"x\">'&\n\x01"), "&lt;a href=&quot;x&quot;&gt;&#39;&amp;  ");
    SheetCard card;
    card.title = "<script>alert(1)</script>";
    card.subtitle = card.group = card.file = card.title;
    card.facts = { card.title };
    card.picture = "\"><script>";
    std::string page = sheetPage(card.title, { card });
    EXPECT_EQ(page.find("<script>alert"), std::string::npos);
    EXPECT_EQ(page.find("\"><script>"), std::string::npos);
}

TEST(SheetPage, HoldsNothingFromOutside)
{
    SheetCard card;
    card.picture = "data:image/png;base64,AAAA";
    std::string page = sheetPage("Holiday", { card });
    EXPECT_EQ(page.find("http"), std::string::npos);
    EXPECT_EQ(page.find("url("), std::string::npos);
    EXPECT_NE(page.find("src=\"data:image/png;base64,AAAA\""), std::string::npos);
}

TEST(SheetPage, PartsAndGroupsInOrder)
{
    auto card = [](SheetCard::Kind kind, const char* group, const char* title) {
        SheetCard made;
        made.kind = kind;
        made.group = group;
        made.title = title;
        return made;
    };
    std::string page = sheetPage("x",
        { card(SheetCard::Kind::Video, "", "v1"), card(SheetCard::Kind::Music, "Zoo", "z1"),
            card(SheetCard::Kind::Music, "Abba", "a2"), card(SheetCard::Kind::Music, "Abba", "a1"),
            card(SheetCard::Kind::Picture, "", "p1") });
    std::vector<std::size_t> places;
    for (const char* text : { "Pictures <span>1", ">p1<", "Music <span>3", "<h3>Abba", ">a2<", ">a1<", "<h3>Zoo",
             ">z1<", "Videos <span>1", ">v1<" }) {
        places.push_back(page.find(text));
        EXPECT_NE(places.back(), std::string::npos) << text;
    }
    EXPECT_TRUE(std::is_sorted(places.begin(), places.end()));
    EXPECT_NE(page.find("<p>5 files</p>"), std::string::npos);
    EXPECT_NE(sheetPage("x", {}).find("no file here"), std::string::npos);
}

} // namespace
} // namespace mv::cli
