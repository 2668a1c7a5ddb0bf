// Thumbnails of many files with one command.
#include "cli/ThumbnailPattern.h"
#include "tests/cli/ToolFixture.h"

#include <filesystem>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(ThumbnailPattern, PutsNamesIn)
{
    auto named = [](const char* pattern, const char* file) { return ThumbnailPattern::parse(pattern)->nameFor(file); };
    EXPECT_EQ(named("%s.png", "a.jpg"), "a.png");
    EXPECT_EQ(named("%s.png", "../p/a.b.jpg"), "../p/a.b.png");
    EXPECT_EQ(named("small/tn_%s_%s.JPG", "p/a"), "p/small/tn_a_a.JPG");
    EXPECT_EQ(named("/tmp/%s.jpeg", "p/a.jpg"), "/tmp/a.jpeg");
    EXPECT_EQ(named("/tmp/%s.png", "p/%s%s.jpg"), "/tmp/%s%s.png");
    EXPECT_EQ(ThumbnailPattern::parse("%s.png")->format(), ThumbnailFormat::Png);
    EXPECT_EQ(ThumbnailPattern::parse("x/%s.Jpeg")->format(), ThumbnailFormat::Jpeg);
    EXPECT_FALSE(ThumbnailPattern::parse("x.png")->isForMany());
    for (const char* wrong : { "%s", "%s.gif", "", "png", ".png/%s" })
        EXPECT_FALSE(ThumbnailPattern::parse(wrong).ok()) << wrong;
}

TEST(ThumbnailPattern, BoxesAndTheSquaresThatFillThem)
{
    EXPECT_EQ(thumbnailBox("256")->height, 256u);
    auto box = thumbnailBox("320x240");
    ASSERT_TRUE(box.ok());
    EXPECT_EQ(box->longSide(), 320u);
    EXPECT_FALSE(box->takes(320, 241));
    EXPECT_EQ(box->squareFor(320, 320), 240u);
    EXPECT_EQ(box->squareFor(240, 320), 240u);
    EXPECT_EQ(box->squareFor(1, 20000), 240u);
    for (const char* wrong : { "0", "x", "2049", "320x", "320x0", "a", "" })
        EXPECT_FALSE(thumbnailBox(wrong).ok()) << wrong;
}

class ToolThumbnails : public ToolOnBus {
protected:
    std::string sizeOf(const std::string& name)
    {
        return test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name,width,height -of csv=p=0 "
            + test::shellQuoted(m_folder.file(name)));
    }
};

TEST_F(ToolThumbnails, OfManyFilesAtOnce)
{
    std::string files;
    for (int i = 0; i < 40; ++i)
        files += " " + made("p" + std::to_string(i) + ".bmp", "-f lavfi -i testsrc=size=320x240 -frames:v 1");
    std::filesystem::create_directory(m_folder.file("small"));
    Outcome made = tool("thumbnail -o 'small/%s.png'" + files);
    EXPECT_EQ(made.status, 0) << made.err;
    EXPECT_EQ(made.out + made.err, "");
    for (int i = 0; i < 40; ++i)
        EXPECT_EQ(sizeOf("small/p" + std::to_string(i) + ".png"), "png,128,96\n");
    EXPECT_EQ(tool("thumbnail --output " + m_folder.file("t-%s.jpg") + " --size 40x20 --jobs 3" + files).status, 0);
    EXPECT_EQ(sizeOf("t-p39.jpg"), "mjpeg,26,20\n");
    EXPECT_EQ(tool("thumbnail -o %s.jpg --size 1000 " + m_folder.file("p1.bmp")).status, 0);
    EXPECT_EQ(sizeOf("p1.jpg"), "mjpeg,320,240\n") << "never enlarged";
}

TEST_F(ToolThumbnails, EachThatFailsIsTold)
{
    picture("a.png");
    picture("a.gif");
    picture("b.bmp");
    m_folder.write("c.txt", std::string_view("words"));
    std::string path = m_folder.path() + "/";
    std::string sound = tone("d.wav", 1);
    Outcome outcome = tool("thumbnail -o %s.png " + path + "a.png " + path + "b.bmp " + path + "a.gif " + path
        + "c.txt " + sound + " /no/such.jpg");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
        "mivo thumbnail: " + path + "a.png: input and output are the same file\n" + "mivo thumbnail: " + path
            + "a.gif: its thumbnail would have the name of that of " + path + "a.png\n" + "mivo thumbnail: " + path
            + "c.txt: is no audio, video or picture file\n" + "mivo thumbnail: " + path + "d.wav: has no picture\n"
            + "mivo thumbnail: /no/such.jpg: there is no such file\n");
    EXPECT_EQ(sizeOf("b.png"), "png,64,48\n");
    Outcome nowhere = tool("thumbnail -o none/%s.png " + path + "b.bmp");
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_THAT(nowhere.err, HasSubstr("b.bmp: " + path + "none/b.png cannot be written: "));
}

TEST_F(ToolThumbnails, OfFoldersListsAndNamesOfAnyBytes)
{
    for (const char* folder : { "m", "m/b", "out" })
        std::filesystem::create_directory(m_folder.file(folder));
    picture("m/a.png");
    picture("m/b/c.bmp");
    m_folder.write("m/notes.txt", std::string_view("words"));
    std::filesystem::copy_file(m_folder.file("m/a.png"), m_folder.file("m/caf\xe9.png"));
    Outcome made = tool("thumbnail -r -o " + m_folder.file("out/%s.jpg") + " " + m_folder.file("m"));
    EXPECT_EQ(made.status, 0) << made.err;
    for (const char* name : { "out/a.jpg", "out/c.jpg", "out/caf\xe9.jpg" })
        EXPECT_EQ(sizeOf(name), "mjpeg,64,48\n") << name;
    std::string list = m_logs.write("list", m_folder.file("m/a.png") + "\n");
    EXPECT_EQ(tool("thumbnail -o " + m_folder.file("out/x-%s.png") + " --files-from " + list).status, 0);
    EXPECT_EQ(sizeOf("out/x-a.png"), "png,64,48\n");
}

TEST_F(ToolThumbnails, WriteThroughNoLink)
{
    picture("c.bmp");
    std::string precious = m_folder.write("precious.txt", "words");
    symlink("precious.txt", m_folder.file("small-c.png").c_str());
    Outcome outcome = tool("thumbnail -o small-%s.png " + m_folder.file("c.bmp"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("small-c.png cannot be written: it is a link\n"));
    EXPECT_EQ(charsOf(test::readFile(precious)), "words");
}

TEST_F(ToolThumbnails, ReplaceNoneOfTheFiles)
{
    std::filesystem::create_directory(m_folder.file("m"));
    for (const char* name : { "m/a.bmp", "m/a.png", "m/b.bmp", "m/b.png", "m/c.bmp" })
        picture(name);
    std::string folder = m_folder.file("m") + "/";
    Bytes a = test::readFile(folder + "a.png");
    Bytes b = test::readFile(folder + "b.png");
    auto expectUnchanged = [&](const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 1);
        EXPECT_THAT(outcome.err,
            HasSubstr("a.bmp: its thumbnail would replace " + folder + "a.png, which is one of the files\n"));
        EXPECT_EQ(test::readFile(folder + "a.png"), a);
        EXPECT_EQ(test::readFile(folder + "b.png"), b);
    };
    expectUnchanged(tool("thumbnail --size 16 -o %s.png " + folder + "a.bmp " + folder + "a.png"));
    expectUnchanged(tool("thumbnail --size 16 -r -o %s.png " + folder));
    EXPECT_EQ(sizeOf("m/c.png"), "png,16,12\n");
    // What comes later in a list, under another name.
    symlink("a.png", m_folder.file("m/link").c_str());
    std::string list = folder + "a.bmp\\n" + folder + "c.bmp\\n" + folder + "link\\n";
    expectUnchanged(tool("thumbnail --size 20 -o %s.png --files-from -", "printf '" + list + "' |"));
    EXPECT_EQ(sizeOf("m/c.png"), "png,20,15\n") << "one of an earlier run is made anew";
}

TEST_F(ToolTest, SlipsOfManyThumbnailsAreToldBeforeAnythingStarts)
{
    struct Slip {
        const char* words;
        const char* sentence;
    };
    const Slip Slips[] = {
        { "-o %s.gif a b", "--output: the pattern must end in .png or .jpg" },
        { "-o x.png a b", "--output: without %s in the pattern all thumbnails would have one name" },
        { "-o %s.png", "which file?" },
        { "-o %s.png --size 0 a", "--size takes a whole number from 1 to 2048, not \"0\"" },
        { "-o %s.png --show a", "--show does not go with --output" },
        { "-o %s.png --category 1 a", "--category does not go with --output" },
        { "--cache -o %s.png a", "--output does not go with --cache" },
        { "-r a b.png", "--recursive goes with --output" },
        { "a b c", "there are too many file names; --output is for many" },
        { "", "there is a file name missing" },
    };
    for (const Slip& slip : Slips) {
        Outcome outcome = tool(std::string("thumbnail ") + slip.words);
        EXPECT_EQ(outcome.status, 2) << slip.words;
        EXPECT_THAT(outcome.err, StartsWith(std::string("mivo thumbnail: ") + slip.sentence)) << slip.words;
    }
}

} // namespace
} // namespace mv::cli
