#include "cli/PictureDecoding.h"
#include "cli/PictureFile.h"
#include "cli/SheetPage.h"
#include "cli/TerminalPicture.h"
#include "cli/text/JsonText.h"
#include "png/PngFile.h"
#include "tests/cli/WorkerOfTheTool.h"
#include "tests/support/Instrumented.h"

#include <cctype>
#include <cstdlib>
#include <gmock/gmock.h>
#include <map>

namespace mv::cli {
namespace {

Bitmap picture(int width, int height, std::initializer_list<std::uint8_t> pixel)
{
    Bitmap bitmap { width, height, {} };
    for (int i = 0; i < width * height; ++i)
        bitmap.pixels.insert(bitmap.pixels.end(), pixel);
    return bitmap;
}

using Rgb = std::array<int, 3>;

/// A terminal for sixels alone: reads what stands behind the "q".
class SixelTerminal {
public:
    explicit SixelTerminal(const std::string& text)
        : m_text(text)
        , m_at(text.find('q') + 1)
    {
        while (m_at < m_text.size() && m_text[m_at] != '\033')
            takeCommand(m_text[m_at++]);
    }

    std::map<std::pair<int, int>, Rgb> drawn; ///< by column and row

private:
    int number()
    {
        int value = 0;
        for (; m_at < m_text.size() && std::isdigit(static_cast<unsigned char>(m_text[m_at])); ++m_at)
            value = value * 10 + (m_text[m_at] - '0');
        return value;
    }
    void takeCommand(char sign)
    {
        if (sign == '#')
            takeColour();
        else if (sign == '!') {
            int count = number();
            draw(m_text.at(m_at++), count);
        } else if (sign == '$' || sign == '-') {
            m_x = 0;
            m_top += sign == '-' ? 6 : 0;
        } else {
            draw(sign, 1);
        }
    }
    void takeColour()
    {
        m_colour = number();
        std::vector<int> values;
        while (m_text.at(m_at) == ';') {
            ++m_at;
            values.push_back(number());
        }
        if (values.size() == 4) // the first says that red, green and blue follow, in percent
            m_palette[m_colour] = { values[1] * 255 / 100, values[2] * 255 / 100, values[3] * 255 / 100 };
    }
    void draw(char sign, int count)
    {
        if (sign < '?' || sign > '~')
            return;
        for (; count > 0; --count, ++m_x) {
            for (int row = 0; row < 6; ++row) {
                if ((sign - '?') >> row & 1)
                    drawn[{ m_x, m_top + row }] = m_palette.at(m_colour);
            }
        }
    }

    const std::string& m_text;
    std::size_t m_at;
    std::map<int, Rgb> m_palette;
    int m_x = 0;
    int m_top = 0;
    int m_colour = 0;
};

TEST(PictureFile, APngHoldsTheVeryPixels)
{
    Bitmap bitmap { 3, 2, {} };
    for (int i = 0; i < 24; ++i)
        bitmap.pixels.push_back(static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i * 10));
    MV_NEEDS_CLOSED_PROCESSES();
    test::WorkerOfTheTool worker;
    auto back = decodedPicture(pngOf(bitmap));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->width, 3);
    EXPECT_EQ(back->height, 2);
    EXPECT_EQ(back->pixels, bitmap.pixels);
}

// An answer holds some eight megapixels, so the rows come in several.
TEST(PictureFile, ALargePictureComesWhole)
{
    MV_NEEDS_CLOSED_PROCESSES();
    test::WorkerOfTheTool worker;
    Bitmap bitmap { 4001, 4199, {} };
    bitmap.pixels.resize(std::size_t { 4001 } * 4199 * 4);
    for (std::size_t i = 0; i < bitmap.pixels.size(); ++i)
        bitmap.pixels[i] = static_cast<std::uint8_t>(i % 4 == 3 ? 255 : i / 16004);
    auto back = decodedPicture(pngOf(bitmap));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->width, 4001);
    EXPECT_EQ(back->height, 4199);
    EXPECT_TRUE(back->pixels == bitmap.pixels);
}

TEST(PictureFile, BytesThatAreNoPictureSaySo)
{
    MV_NEEDS_CLOSED_PROCESSES();
    test::WorkerOfTheTool worker;
    auto nothing = decodedPicture({ 1, 2, 3 });
    ASSERT_FALSE(nothing.ok());
    EXPECT_EQ(nothing.error().text, "is no picture that can be read");
    // What is compressed begins behind the header, and the name and length of its chunk.
    Bytes png = pngOf(picture(16, 16, { 200, 100, 50, 255 }));
    std::fill(png.begin() + 41, png.end(), std::uint8_t { 0xff });
    auto broken = decodedPicture(png);
    ASSERT_FALSE(broken.ok());
    EXPECT_EQ(broken.error().text, "no row of the picture could be decoded");
}

TEST(PictureFile, TheServicesFormNeedsNoDecoder)
{
    Bitmap bitmap = picture(3, 2, { 1, 2, 3, 255 });
    auto tiff = tiffOf(bitmap);
    ASSERT_TRUE(tiff);
    auto back = bitmapOfTiff(*tiff);
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(back->width, 3);
    EXPECT_EQ(back->height, 2);
    EXPECT_EQ(back->pixels, bitmap.pixels);
    tiff->front() = 'M';
    EXPECT_FALSE(bitmapOfTiff(*tiff).ok());
    EXPECT_FALSE(bitmapOfTiff(pngOf(bitmap)).ok());
    EXPECT_FALSE(tiffOf({}));
}

TEST(PictureFile, AJpegIsNearThePixels)
{
    auto jpeg = jpegOf(picture(16, 16, { 200, 100, 50, 255 }));
    ASSERT_TRUE(jpeg.ok());
    MV_NEEDS_CLOSED_PROCESSES();
    test::WorkerOfTheTool worker;
    auto back = decodedPicture(*jpeg);
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
    Bytes source = *tiffOf(picture(2, 2, { 1, 2, 3, 255 }));
    EXPECT_EQ(*pictureFor("tif", source), source);
    EXPECT_EQ((*pictureFor("png", source))[1], 'P');
    EXPECT_EQ((*pictureFor("jpeg", source))[0], 0xff);
    EXPECT_EQ(pictureFor("gif", source).error().text, "the name must end in .tif, .png or .jpg");
    EXPECT_FALSE(pictureFor("png", Bytes { 1, 2, 3 }).ok());
}

TEST(PictureFile, PagesGetJpegOrPngWhereSomethingIsTransparent)
{
    EXPECT_THAT(
        *dataAddress(*tiffOf(picture(2, 2, { 1, 2, 3, 255 }))), testing::StartsWith("data:image/jpeg;base64,/9j/"));
    EXPECT_THAT(
        *dataAddress(*tiffOf(picture(2, 2, { 1, 2, 3, 9 }))), testing::StartsWith("data:image/png;base64,iVBO"));
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

TEST(TerminalPicture, SixelsAreThePicture)
{
    // Seven rows are a full band and one with one row.
    std::string text = terminalPicture(picture(2, 7, { 255, 0, 0, 255 }), PictureProtocol::Sixel);
    EXPECT_THAT(text, testing::StartsWith("\033P"));
    EXPECT_THAT(text, testing::EndsWith("\033\\\n"));
    auto drawn = SixelTerminal(text).drawn;
    EXPECT_EQ(drawn.size(), 14u);
    for (const auto& [place, colour] : drawn)
        EXPECT_EQ(colour, (Rgb { 255, 0, 0 })) << place.first << ", " << place.second;
    EXPECT_THAT(drawn, testing::Contains(testing::Key(std::pair(1, 6))));
    // Clear places are white.
    text = terminalPicture(picture(1, 1, { 0, 0, 0, 0 }), PictureProtocol::Sixel);
    EXPECT_EQ(SixelTerminal(text).drawn.at({ 0, 0 }), (Rgb { 255, 255, 255 }));
}

TEST(TerminalPicture, SixelsKeepSoftColours)
{
    Bitmap sky { 60, 50, {} };
    for (int i = 0; i < 60 * 50; ++i)
        for (int value : { 60 + i % 60, 100 + i / 60, 200, 255 })
            sky.pixels.push_back(static_cast<std::uint8_t>(value));
    std::string text = terminalPicture(sky, PictureProtocol::Sixel);
    auto drawn = SixelTerminal(text).drawn;
    ASSERT_EQ(drawn.size(), 3000u);
    int differences = 0;
    for (const auto& [place, colour] : drawn)
        for (std::size_t channel = 0; channel < 3; ++channel)
            differences += std::abs(
                colour[channel] - sky.pixels[static_cast<std::size_t>(place.second * 60 + place.first) * 4 + channel]);
    EXPECT_LT(differences / 9000.0, 4) << "of 255, on average";
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
