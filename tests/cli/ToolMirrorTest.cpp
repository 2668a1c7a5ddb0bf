// Folders that are copies of others for a phone, and conversions of several files.
#include "tests/cli/ToolFixture.h"

#include <csignal>
#include <sys/stat.h>

namespace mv::cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class ToolMirror : public ToolOnBus {
protected:
    ToolMirror()
    {
        for (const char* folder : { "lib", "lib/A", "lib/B" })
            mkdir(m_folder.file(folder).c_str(), 0700);
        m_words = test::shellQuoted(m_folder.file("lib")) + " " + test::shellQuoted(m_folder.file("phone"));
    }
    std::string song(const std::string& name, const std::string& more = "")
    {
        return made("lib/" + name, "-f lavfi -i sine=duration=0.5 -metadata title=Tone " + more);
    }
    Outcome mirror(const std::string& options = "", const std::string& command = "encode")
    {
        return tool(command + " --mirror " + options + " " + m_words);
    }
    /// The names in the mirror, sorted, folders too, in one line.
    std::string names()
    {
        return test::outputOf("cd " + m_folder.file("phone") + " && find . -mindepth 1 ! -name .mivo-mirror "
            + "| LC_ALL=C sort | tr '\\n' ' '");
    }
    std::string probe(const std::string& name, const std::string& entries)
    {
        return test::outputOf("ffprobe -loglevel error -show_entries " + entries + " -of default=nk=1:nw=1 "
            + test::shellQuoted(m_folder.file("phone/" + name)));
    }
    std::string m_words;
};

TEST_F(ToolMirror, EncodesWhatIsLosslessAndCopiesTheRest)
{
    song("A/1.flac", "-metadata REPLAYGAIN_TRACK_GAIN='-3 dB' -metadata artist=One");
    song("A/2.wav");
    song("B/3.m4a", "-c:a alac");
    song("B/4.m4a", "-c:a aac");
    song("B/5.ogg", "-c:a libvorbis");
    song("6.mp3");
    song("7.wv"); // which nothing here decodes
    made("lib/A/cover.jpg", "-f lavfi -i testsrc=size=64x48 -frames:v 1");
    made("lib/A/photo.jpg", "-f lavfi -i testsrc=size=64x48 -frames:v 1");
    m_folder.write("lib/.hidden.mp3", std::string_view("x"));
    m_folder.write("lib/note.txt", std::string_view("x"));
    Outcome first = mirror();
    EXPECT_EQ(first.status, 0) << first.err;
    EXPECT_THAT(first.out, HasSubstr("encoded  A/1.mp3\n"));
    EXPECT_THAT(first.out, EndsWith("3 encoded, 5 copied, 0 unchanged, 0 removed, 0 failed\n"));
    EXPECT_EQ(names(), "./6.mp3 ./7.wv ./A ./A/1.mp3 ./A/2.mp3 ./A/cover.jpg ./B ./B/3.mp3 ./B/4.m4a ./B/5.ogg ");
    EXPECT_EQ(probe("A/1.mp3", "stream=codec_name,bit_rate"), "mp3\n192000\n");
    EXPECT_EQ(probe("A/1.mp3", "format_tags=title,artist,REPLAYGAIN_TRACK_GAIN"), "One\n-3 dB\nTone\n");
    EXPECT_EQ(test::readFile(m_folder.file("phone/B/5.ogg")), test::readFile(m_folder.file("lib/B/5.ogg")));
    Outcome second = mirror();
    EXPECT_EQ(second.status, 0) << second.err;
    EXPECT_EQ(second.out, "0 encoded, 0 copied, 8 unchanged, 0 removed, 0 failed\n");
    // Another rate makes encoded files anew, and no copies.
    EXPECT_THAT(mirror("--bitrate 128").out, EndsWith("3 encoded, 0 copied, 5 unchanged, 0 removed, 0 failed\n"));
    EXPECT_EQ(probe("A/1.mp3", "stream=bit_rate"), "128000\n");
}

TEST_F(ToolMirror, OnlyWhatChangedIsMade)
{
    song("A/1.flac");
    song("A/2.flac");
    ASSERT_EQ(mirror().status, 0);
    song("A/2.flac", "-metadata artist=New");
    song("A/3.flac");
    Outcome changed = mirror();
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_EQ(
        changed.out, "encoded  A/2.mp3\nencoded  A/3.mp3\n2 encoded, 0 copied, 1 unchanged, 0 removed, 0 failed\n");
    EXPECT_EQ(probe("A/2.mp3", "format_tags=artist"), "New\n");
    // What somebody took out of the mirror comes back.
    std::filesystem::remove(m_folder.file("phone/A/1.mp3"));
    EXPECT_THAT(mirror().out, HasSubstr("encoded  A/1.mp3\n1 encoded"));
    // So it is by what the files' times say where the state is lost.
    std::filesystem::remove(m_folder.file("phone/.mivo-mirror"));
    EXPECT_EQ(mirror().out, "0 encoded, 0 copied, 3 unchanged, 0 removed, 0 failed\n");
}

TEST_F(ToolMirror, WhatIsGoneIsToldAndRemovedWhereThatIsAskedFor)
{
    song("A/1.flac");
    song("B/2.flac");
    ASSERT_EQ(mirror().status, 0);
    m_folder.write("phone/B/own.mp3", std::string_view("put there by somebody"));
    std::filesystem::remove(m_folder.file("lib/A/1.flac"));
    std::filesystem::remove(m_folder.file("lib/B/2.flac"));
    Outcome none = mirror("--delete");
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("has no sound at all; nothing was removed"));
    song("B/3.flac");
    Outcome told = mirror();
    EXPECT_EQ(told.status, 0) << told.err;
    EXPECT_THAT(told.out, HasSubstr("gone     A/1.mp3\ngone     B/2.mp3\n"));
    EXPECT_EQ(names(), "./A ./A/1.mp3 ./B ./B/2.mp3 ./B/3.mp3 ./B/own.mp3 ");
    Outcome removed = mirror("--delete");
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_EQ(
        removed.out, "removed  A/1.mp3\nremoved  B/2.mp3\n0 encoded, 0 copied, 1 unchanged, 2 removed, 0 failed\n");
    EXPECT_EQ(names(), "./B ./B/3.mp3 ./B/own.mp3 ");
    EXPECT_EQ(mirror("--delete").out, "0 encoded, 0 copied, 1 unchanged, 0 removed, 0 failed\n");
}

TEST_F(ToolMirror, ACopyThatWasEditedStays)
{
    song("A/1.flac");
    song("B/2.flac");
    ASSERT_EQ(mirror().status, 0);
    std::filesystem::remove(m_folder.file("lib/A/1.flac"));
    // A tag that was changed in its padding leaves the size.
    std::filesystem::last_write_time(m_folder.file("phone/A/1.mp3"), std::filesystem::file_time_type::clock::now());
    Outcome kept = mirror("--delete");
    EXPECT_EQ(kept.status, 1);
    EXPECT_THAT(kept.err, HasSubstr("phone/A/1.mp3: was changed since it was made, and stays\n"));
    EXPECT_EQ(names(), "./A ./A/1.mp3 ./B ./B/2.mp3 ");
}

// Cards have times of two seconds, of the clock on the wall.
TEST_F(ToolMirror, ACopyOnACardStaysOneInAnotherSeason)
{
    using namespace std::chrono_literals;
    song("A/1.flac");
    song("B/2.flac");
    song("B/3.flac");
    ASSERT_EQ(mirror().status, 0);
    auto move = [&](const char* name, std::chrono::seconds by) {
        auto file = m_folder.file(name);
        auto time = std::filesystem::last_write_time(file);
        std::filesystem::last_write_time(
            file, std::chrono::floor<std::chrono::duration<std::int64_t, std::ratio<2>>>(time) + by);
    };
    move("phone/A/1.mp3", 1h);
    move("phone/B/2.mp3", 1h + 10s);
    std::filesystem::remove(m_folder.file("lib/A/1.flac"));
    std::filesystem::remove(m_folder.file("lib/B/2.flac"));
    Outcome done = mirror("--delete");
    EXPECT_THAT(done.out, HasSubstr("removed  A/1.mp3\n"));
    EXPECT_THAT(done.err, HasSubstr("phone/B/2.mp3: was changed since it was made, and stays\n"));
}

TEST_F(ToolMirror, CoversAreNoSound)
{
    song("A/1.flac");
    m_folder.write("lib/A/cover.jpg", std::string_view("a cover"));
    ASSERT_EQ(mirror().status, 0);
    std::filesystem::remove(m_folder.file("lib/A/1.flac"));
    Outcome none = mirror("--delete");
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("has no sound at all; nothing was removed"));
    EXPECT_EQ(names(), "./A ./A/1.mp3 ./A/cover.jpg ");
}

TEST_F(ToolMirror, ALinkThatLeadsNowhereIsNotGone)
{
    song("A/1.flac");
    song("away.flac");
    std::filesystem::rename(m_folder.file("lib/away.flac"), m_folder.file("away.flac"));
    symlink(m_folder.file("away.flac").c_str(), m_folder.file("lib/B/2.flac").c_str());
    ASSERT_EQ(mirror().status, 0);
    std::filesystem::rename(m_folder.file("away.flac"), m_folder.file("elsewhere.flac"));
    Outcome kept = mirror("--delete");
    EXPECT_EQ(kept.status, 1);
    EXPECT_THAT(kept.err, HasSubstr("lib/B/2.flac: is a link to what cannot be read\n"));
    EXPECT_EQ(kept.out, "0 encoded, 0 copied, 1 unchanged, 0 removed, 1 failed\n");
    EXPECT_EQ(names(), "./A ./A/1.mp3 ./B ./B/2.mp3 ");
    std::filesystem::remove(m_folder.file("lib/B/2.flac"));
    EXPECT_EQ(mirror("--delete").out, "removed  B/2.mp3\n0 encoded, 0 copied, 1 unchanged, 1 removed, 0 failed\n");
}

TEST_F(ToolMirror, AStateThatIsLostInPartIsFoundAgain)
{
    song("A/1.flac");
    song("2.mp3");
    ASSERT_EQ(mirror().status, 0);
    std::string state = m_folder.file("phone/.mivo-mirror");
    for (const char* left : { "", "{\"mivo-mir", "{\"mivo-mirror\":1,\"source\":\"/x" }) {
        m_folder.write("phone/.mivo-mirror", std::string_view(left));
        EXPECT_EQ(mirror().out, "0 encoded, 0 copied, 2 unchanged, 0 removed, 0 failed\n") << left;
        EXPECT_EQ(mirror().out, "0 encoded, 0 copied, 2 unchanged, 0 removed, 0 failed\n") << left;
    }
    // A copy is as long as its source.
    std::filesystem::remove(state);
    auto time = std::filesystem::last_write_time(m_folder.file("lib/2.mp3"));
    m_folder.write("phone/2.mp3", std::string_view("shorter"));
    std::filesystem::last_write_time(m_folder.file("phone/2.mp3"), time);
    EXPECT_THAT(mirror().err, HasSubstr("2.mp3: is there already, and no mirror made it"));
    m_folder.write("phone/.mivo-mirror", std::string_view("somebody's notes"));
    EXPECT_THAT(mirror().err, HasSubstr("is no state of a mirror that this program knows"));
}

TEST_F(ToolMirror, FilesOfOthersAreLeftAlone)
{
    song("A/1.flac");
    mkdir(m_folder.file("phone").c_str(), 0700);
    mkdir(m_folder.file("phone/A").c_str(), 0700);
    m_folder.write("phone/A/1.mp3", std::string_view("somebody's"));
    utimensat(AT_FDCWD, m_folder.file("phone/A/1.mp3").c_str(), std::array<timespec, 2> {}.data(), 0);
    Outcome refused = mirror();
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("1.mp3: is there already, and no mirror made it; --force replaces it"));
    EXPECT_EQ(test::readFile(m_folder.file("phone/A/1.mp3")).size(), 10u);
    EXPECT_EQ(mirror("--force").status, 0);
    EXPECT_EQ(probe("A/1.mp3", "stream=codec_name"), "mp3\n");
}

TEST_F(ToolMirror, NothingIsMadeOrRemovedBehindALink)
{
    song("A/1.flac");
    song("B/2.flac");
    ASSERT_EQ(mirror().status, 0);
    std::filesystem::rename(m_folder.file("phone/A"), m_folder.file("elsewhere"));
    std::filesystem::create_directory_symlink(m_folder.file("elsewhere"), m_folder.file("phone/A"));
    song("A/3.flac");
    Outcome made = mirror();
    EXPECT_EQ(made.status, 1);
    EXPECT_THAT(made.err, HasSubstr("phone/A/3.mp3: its folder is a link that leads out of the mirror\n"));
    std::filesystem::remove(m_folder.file("lib/A/1.flac"));
    Outcome removed = mirror("--delete");
    EXPECT_EQ(removed.status, 1);
    EXPECT_THAT(removed.err, HasSubstr("phone/A/1.mp3: its folder is a link that leads out of the mirror\n"));
    EXPECT_EQ(test::outputOf("ls " + m_folder.file("elsewhere")), "1.mp3\n");
}

TEST_F(ToolMirror, AStateThatIsALinkIsSomebodyElses)
{
    song("A/1.flac");
    std::filesystem::create_directory(m_folder.file("phone"));
    std::filesystem::create_symlink(m_folder.file("planted"), m_folder.file("phone/.mivo-mirror"));
    Outcome outcome = mirror();
    EXPECT_NE(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("phone/.mivo-mirror is no regular file"));
    EXPECT_FALSE(std::filesystem::exists(m_folder.file("planted")));
}

TEST_F(ToolMirror, AFileOfAboutTheSameTimeIsSomebodyElses)
{
    using namespace std::chrono_literals;
    song("A/1.flac");
    auto time = std::filesystem::file_time_type(1'700'000'001s + 123'456'789ns);
    std::filesystem::last_write_time(m_folder.file("lib/A/1.flac"), time);
    std::filesystem::create_directories(m_folder.file("phone/A"));
    auto statusFor = [&](std::filesystem::file_time_type kept) {
        std::filesystem::remove(m_folder.file("phone/.mivo-mirror"));
        m_folder.write("phone/A/1.mp3", std::string_view("somebody's"));
        std::filesystem::last_write_time(m_folder.file("phone/A/1.mp3"), kept);
        return mirror().status;
    };
    EXPECT_EQ(statusFor(time + 1ms), 1);
    EXPECT_EQ(statusFor(time - 1s), 1);
    EXPECT_EQ(statusFor(time), 0);
    // As cards and other systems keep it.
    EXPECT_EQ(statusFor(time - 89ns), 0);
    EXPECT_EQ(statusFor(time - 3'456'789ns), 0);
    EXPECT_EQ(statusFor(time - 123'456'789ns), 0);
}

TEST_F(ToolMirror, OneNameIsForOneFile)
{
    song("A/1.flac");
    song("A/1.mp3");
    Outcome both = mirror();
    EXPECT_EQ(both.status, 1);
    EXPECT_THAT(both.err, HasSubstr("1.mp3: would have the name A/1.mp3, as A/1.flac has"));
    EXPECT_THAT(both.out, EndsWith("1 encoded, 0 copied, 0 unchanged, 0 removed, 1 failed\n"));
    m_folder.write("lib/A/bad.flac", std::string_view("no song"));
    EXPECT_THAT(mirror().err, HasSubstr("bad.flac: "));
}

TEST_F(ToolMirror, ToAacAndBack)
{
    song("A/1.flac");
    ASSERT_EQ(mirror("--bitrate 96", "convert").status, 0);
    EXPECT_EQ(names(), "./A ./A/1.m4a ");
    EXPECT_EQ(probe("A/1.m4a", "stream=codec_name:format_tags=title"), "aac\nTone\n");
    Outcome back = mirror("--delete");
    EXPECT_EQ(back.status, 0) << back.err;
    EXPECT_EQ(names(), "./A ./A/1.mp3 ");
}

TEST_F(ToolMirror, SlipsAndWrongFolders)
{
    song("A/1.flac");
    EXPECT_EQ(mirror("--to x").status, 2);
    EXPECT_EQ(mirror("--rate 44100").status, 2);
    EXPECT_EQ(tool("encode --mirror " + m_folder.file("lib")).status, 2);
    EXPECT_EQ(tool("encode --delete a b").status, 2);
    EXPECT_EQ(tool("encode --mirror --jobs 0 " + m_words).status, 2);
    std::string lib = m_folder.file("lib");
    EXPECT_THAT(tool("encode --mirror " + lib + " " + lib).err, HasSubstr("is the source itself"));
    EXPECT_THAT(tool("encode --mirror " + lib + "/A " + lib).err, HasSubstr("has the source in it"));
    EXPECT_THAT(tool("encode --mirror /no/such " + lib).err, HasSubstr("/no/such: is no folder"));
    ASSERT_EQ(mirror().status, 0);
    mkdir(m_folder.file("other").c_str(), 0700);
    EXPECT_THAT(tool("encode --mirror " + m_folder.file("other") + " " + m_folder.file("phone")).err,
        HasSubstr("is the mirror of " + lib));
    // A mirror inside its source is no part of it.
    EXPECT_EQ(tool("encode --mirror " + lib + " " + lib + "/phone").status, 0);
    EXPECT_THAT(
        tool("encode --mirror " + lib + " " + lib + "/phone").out, testing::StartsWith("0 encoded, 0 copied, 1 "));
}

/// A mirror at work on a file that takes longer than the test.
class LongMirror : public ToolMirror {
protected:
    Running start()
    {
        longWave();
        std::filesystem::rename(m_folder.file("long.wav"), m_folder.file("lib/long.wav"));
        song("A/1.flac");
        Running running
            = startTool({ "encode", "--mirror", "--quality", "best", m_folder.file("lib"), m_folder.file("phone") });
        EXPECT_TRUE(test::eventually([&] { return std::filesystem::exists(m_folder.file("phone/A/1.mp3")); }));
        return running;
    }
};

TEST_F(LongMirror, CtrlCLeavesWholeFilesAlone)
{
    Running running = start();
    kill(running.process, SIGINT);
    EXPECT_EQ(waitFor(running.process), 130);
    EXPECT_EQ(names(), "./A ./A/1.mp3 ");
    std::filesystem::remove(m_folder.file("lib/long.wav"));
    EXPECT_EQ(mirror("--quality best").out, "0 encoded, 0 copied, 1 unchanged, 0 removed, 0 failed\n");
}

TEST_F(LongMirror, AKillLeavesNothingThatTheNextRunDoesNotRemove)
{
    Running running = start();
    // Another one has to wait for its turn.
    Outcome second = mirror();
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err, HasSubstr("another process makes a mirror there"));
    kill(running.process, SIGKILL);
    waitFor(running.process);
    EXPECT_EQ(access(m_folder.file("phone/long.mp3").c_str(), F_OK), -1);
    std::filesystem::remove(m_folder.file("lib/long.wav"));
    song("B/2.flac");
    Outcome next = mirror("--quality best");
    EXPECT_EQ(next.status, 0) << next.err;
    EXPECT_EQ(next.out, "encoded  B/2.mp3\n1 encoded, 0 copied, 1 unchanged, 0 removed, 0 failed\n");
    EXPECT_EQ(names(), "./A ./A/1.mp3 ./B ./B/2.mp3 ");
}

TEST_F(ToolOnBus, ConvertsSeveralFilesAtOnce)
{
    mkdir(m_folder.file("out").c_str(), 0700);
    std::string out = m_folder.file("out");
    std::string songs = made("a.flac", "-f lavfi -i sine=duration=1 -metadata title=A -metadata isrc=US1") + " "
        + made("b.mp3", "-f lavfi -i sine=duration=1 -metadata title=B") + " "
        + made("c.mkv", "-f lavfi -i sine=duration=1 -metadata title=C -c:a pcm_s16le");
    Outcome done = tool("convert --jobs 2 --to " + out + " --bitrate 96 " + songs);
    EXPECT_EQ(done.status, 0) << done.err;
    EXPECT_THAT(done.err, HasSubstr("a.m4a: started\n"));
    for (const char* line : { "a.m4a: done\n", "b.m4a: done\n", "c.m4a: done\n" })
        EXPECT_THAT(done.err, HasSubstr(line));
    auto probe = [&](const std::string& name) {
        return test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name:format_tags=title,ISRC "
                              "-of default=nk=1:nw=1 "
            + out + "/" + name);
    };
    EXPECT_EQ(probe("a.m4a"), "aac\nA\nUS1\n");
    EXPECT_EQ(probe("b.m4a"), "aac\nB\n");
    EXPECT_EQ(probe("c.m4a"), "aac\nC\n"); // by what the service knows of it
    Outcome again = tool("convert --to " + out + " --no-tags " + songs);
    EXPECT_EQ(again.status, 1);
    EXPECT_THAT(again.err, HasSubstr("a.m4a: is there already; --force replaces it"));
    EXPECT_EQ(tool("convert --force --no-tags --to " + out + " " + songs).status, 0);
    EXPECT_EQ(probe("a.m4a"), "aac\n");
    Outcome bad = tool("convert --force --to " + out + " " + picture("x.png") + " " + m_folder.file("a.flac"));
    EXPECT_EQ(bad.status, 1);
    EXPECT_THAT(bad.err, HasSubstr("x.png: "));
    EXPECT_EQ(test::outputOf("ls -A " + out), "a.m4a\nb.m4a\nc.m4a\n");
    EXPECT_EQ(tool("convert " + songs).status, 2);
}

} // namespace
} // namespace mv::cli
