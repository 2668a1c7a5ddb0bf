// Names of files made of what their tags say.
#include "tests/cli/ToolFixture.h"

#include <sys/stat.h>

namespace mv::cli {
namespace {

using testing::HasSubstr;

class ToolRename : public ToolOnBus {
protected:
    /// A song with tags, quoted for the shell.
    std::string song(const std::string& name, const std::string& artist, const std::string& title, int track = 1)
    {
        std::string tags = " -metadata artist=" + test::shellQuoted(artist)
            + " -metadata title=" + test::shellQuoted(title) + " -metadata track=" + std::to_string(track);
        return made(name, "-f lavfi -i sine=duration=0.2" + tags);
    }
    /// The names below the test's folder, sorted, folders too, in one line.
    std::string names()
    {
        return test::outputOf("cd " + m_folder.path() + " && find . -mindepth 1 | LC_ALL=C sort | tr '\\n' ' '");
    }
    std::string content(const std::string& name)
    {
        Bytes bytes = test::readFile(m_folder.file(name));
        return { bytes.begin(), bytes.end() };
    }
    Outcome rename(const std::string& words) { return tool("rename " + words); }
};

TEST_F(ToolRename, MakesFoldersAndKeepsEndings)
{
    std::string one = song("x.mp3", "One", "First", 3);
    std::string two = song("y.flac", "Two", "제목", 12);
    std::string dry = "'{artist}/{track:02} {title}' --dry-run " + one + " " + two;
    Outcome shown = rename(dry);
    EXPECT_EQ(shown.status, 0) << shown.err;
    EXPECT_EQ(shown.out,
        m_folder.file("x.mp3") + " -> " + m_folder.file("One/03 First.mp3") + "\n" + m_folder.file("y.flac") + " -> "
            + m_folder.file("Two/12 제목.flac") + "\n");
    EXPECT_EQ(names(), "./x.mp3 ./y.flac ");
    std::string before = content("x.mp3");
    Outcome done = rename("'{artist}/{track:02} {title}' " + one + " " + two);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.out, shown.out);
    EXPECT_EQ(names(), "./One ./One/03 First.mp3 ./Two ./Two/12 제목.flac ");
    EXPECT_EQ(content("One/03 First.mp3"), before);
    // What has its name already is left alone, without a word.
    Outcome again = rename("'{track:02} {title}' " + test::shellQuoted(m_folder.file("One/03 First.mp3")));
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.out, "");
}

TEST_F(ToolRename, ToSaysBelowWhichFolder)
{
    std::string one = song("x.mp3", "One", "First");
    mkdir(m_folder.file("out").c_str(), 0700);
    Outcome done = rename("--to " + m_folder.file("out") + " '{artist}/{title}' " + one);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(names(), "./out ./out/One ./out/One/First.mp3 ");
    Outcome none = rename("--to " + m_folder.file("none") + " '{title}' " + m_folder.file("out/One/First.mp3"));
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("none: is no folder"));
}

TEST_F(ToolRename, TagsLeadNowhere)
{
    mkdir(m_folder.file("in").c_str(), 0700);
    std::string evil = song("in/x.mp3", "..", "../../evil");
    Outcome done = rename("'{artist}/{title}' " + evil);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(names(), "./in ./in/__ ./in/__/__-..-evil.mp3 ");
    // A link of the name that a tag has may lead anywhere.
    std::string other = song("in/y.mp3", "link", "z");
    ASSERT_EQ(symlink("/tmp", m_folder.file("in/link").c_str()), 0);
    Outcome refused = rename("'{artist}/{title}' " + other);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("the folder \"link\" is a link or no folder"));
    EXPECT_EQ(access(m_folder.file("in/y.mp3").c_str(), F_OK), 0);
    EXPECT_EQ(access("/tmp/z.mp3", F_OK), -1);
}

TEST_F(ToolRename, NamesThatAreNotUtf8CanBeMended)
{
    song("x.mp3", "One", "First");
    std::filesystem::rename(m_folder.file("x.mp3"), m_folder.file("caf\xe9.mp3"));
    Outcome done = rename("'{title}' " + test::shellQuoted(m_folder.file("caf\xe9.mp3")));
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_EQ(done.out, m_folder.file("caf\\xe9.mp3") + " -> " + m_folder.file("First.mp3") + "\n");
    EXPECT_EQ(names(), "./First.mp3 ");
}

TEST_F(ToolRename, ANameWhoseBytesWouldBeLostStays)
{
    song("x.mp3", "One", "First");
    std::filesystem::rename(m_folder.file("x.mp3"), m_folder.file("caf\xe9.mp3"));
    Outcome refused = rename("'{name} 2' " + test::shellQuoted(m_folder.file("caf\xe9.mp3")));
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("its name is not UTF-8, so {name} cannot stand for it"));
    EXPECT_EQ(names(), "./caf\xe9.mp3 ");
}

TEST_F(ToolRename, FieldsByTheirWholeKeys)
{
    std::string file = song("x.mp3", "One", "First");
    EXPECT_EQ(rename("'{xesam:title} {mivo:sampleRate:7}{mivo:none|}' " + file).status, 2);
    Outcome done = rename("'{xesam:title} {mivo:sampleRate:07}' " + file);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_THAT(names(), testing::MatchesRegex("./First 00[0-9]+.mp3 "));
}

TEST_F(ToolRename, ADryRunSaysWhatTheRealOneWouldRefuse)
{
    std::string file = song("x.mp3", "One", "First");
    std::filesystem::create_symlink("/tmp", m_folder.file("link"));
    for (const char* run : { "--dry-run ", "" }) {
        Outcome refused = rename(run + ("'link/{title}' " + file));
        EXPECT_EQ(refused.status, 1) << run;
        EXPECT_THAT(refused.err, HasSubstr("the folder \"link\" is a link or no folder")) << run;
    }
    Outcome planned = rename("--dry-run 'new/er/{title}' " + file);
    EXPECT_EQ(planned.status, 0) << planned.err;
    EXPECT_EQ(access(m_folder.file("new").c_str(), F_OK), -1) << "nothing is made";
}

TEST_F(ToolRename, NothingIsReplaced)
{
    std::string all = song("a.mp3", "A", "Same") + " " + song("b.mp3", "B", "Same") + " " + song("c.mp3", "C", "There")
        + " " + song("d.mp3", "D", "Free");
    song("There.mp3", "X", "X");
    std::string before = content("There.mp3");
    Outcome done = rename("'{title}' " + all);
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.err, HasSubstr("a.mp3: another file would get the same name"));
    EXPECT_THAT(done.err, HasSubstr("b.mp3: another file would get the same name"));
    EXPECT_THAT(done.err, HasSubstr("c.mp3: there is a file of its new name already"));
    EXPECT_EQ(names(), "./Free.mp3 ./There.mp3 ./a.mp3 ./b.mp3 ./c.mp3 ");
    EXPECT_EQ(content("There.mp3"), before);
    // Nor where only a trial is asked for.
    EXPECT_EQ(rename("--dry-run '{title}' " + m_folder.file("c.mp3")).status, 1);
}

TEST_F(ToolRename, FilesTakeEachOthersNames)
{
    std::string a = song("a.mp3", "A", "b");
    std::string b = song("b.mp3", "B", "c");
    std::string c = song("c.mp3", "C", "a");
    std::string first = content("a.mp3");
    std::string second = content("b.mp3");
    std::string third = content("c.mp3");
    Outcome circle = rename("'{title}' " + a + " " + b + " " + c);
    EXPECT_EQ(circle.status, 0) << circle.err;
    EXPECT_EQ(names(), "./a.mp3 ./b.mp3 ./c.mp3 ");
    EXPECT_EQ(content("b.mp3"), first);
    EXPECT_EQ(content("c.mp3"), second);
    EXPECT_EQ(content("a.mp3"), third);
    std::string x = song("1.mp3", "X", "2");
    std::string y = song("2.mp3", "Y", "3");
    std::string secondOfChain = content("2.mp3");
    EXPECT_EQ(rename("'{title}' " + x + " " + y).status, 0);
    EXPECT_EQ(content("3.mp3"), secondOfChain);
}

TEST_F(ToolRename, AMissingFieldIsAnErrorOfItsFileUnlessAnotherTextIsThere)
{
    std::string bare = made("bare.mp3", "-f lavfi -i sine=duration=0.2 -map_metadata -1");
    std::string full = song("full.mp3", "One", "First");
    std::string text = m_folder.write("note.txt", std::string_view("no song"));
    Outcome done = rename("'{artist} {title}' " + bare + " " + full + " " + text + " " + m_folder.file("none.mp3"));
    EXPECT_EQ(done.status, 1);
    EXPECT_THAT(done.err, HasSubstr("bare.mp3: has no artist; {artist|Unknown} would say something else there"));
    EXPECT_THAT(done.err, HasSubstr("note.txt: "));
    EXPECT_THAT(done.err, HasSubstr("none.mp3: there is no such file"));
    EXPECT_EQ(names(), "./One First.mp3 ./bare.mp3 ./note.txt ");
    EXPECT_EQ(rename("'{artist|Unknown}/{title|{name}}' " + bare).status, 0);
    EXPECT_EQ(names(), "./One First.mp3 ./Unknown ./Unknown/bare.mp3 ./note.txt ");
}

TEST_F(ToolRename, SlipsChangeNothing)
{
    std::string one = song("x.mp3", "One", "First");
    Outcome slip = rename("'{artits}' " + one);
    EXPECT_EQ(slip.status, 2);
    EXPECT_THAT(slip.err, HasSubstr("there is no field \"artits\"; did you mean artist?"));
    EXPECT_EQ(rename("'../{artist}' " + one).status, 2);
    EXPECT_EQ(rename("'{artist}'").status, 2);
    EXPECT_EQ(names(), "./x.mp3 ");
}

TEST_F(ToolRename, AnotherFileSystemIsRefused)
{
    struct stat here { };
    struct stat there { };
    if (stat("/dev/shm", &there) != 0 || stat(m_folder.path().c_str(), &here) != 0 || here.st_dev == there.st_dev)
        GTEST_SKIP() << "there is one file system here";
    std::string folder = "/dev/shm/mivo-rename-" + std::to_string(getpid());
    ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
    std::string one = song("x.mp3", "One", "First");
    Outcome refused = rename("--to " + folder + " '{artist}/{title}' " + one);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("its new name is on another file system"));
    EXPECT_EQ(names(), "./x.mp3 ");
    // The folder that was made for it is gone again.
    EXPECT_EQ(rmdir(folder.c_str()), 0);
}

} // namespace
} // namespace mv::cli
