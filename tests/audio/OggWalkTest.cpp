#include "audio/AudioBackend.h"
#include "audio/OggPage.h"
#include "audio/StreamLength.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

using namespace mv;
using namespace mv::test;

namespace {

bool isWhole(const std::string& path) { return isWholeOggStream(*InputFile::open(path)); }

/// Frames that the decoder gives, nothing taken off at the end.
std::int64_t decodedFrames(const std::string& path)
{
    auto source = audioBackend().openSource(*InputFile::openShared(path));
    EXPECT_TRUE(source.ok());
    std::int64_t total = 0;
    while (true) {
        auto frames = (*source)->next();
        EXPECT_TRUE(frames.ok());
        if (!frames.ok() || frames->count == 0)
            return total;
        total += frames->count;
    }
}

void expectEnoughIsDecoded(const std::string& path)
{
    auto length = measureOgg(*InputFile::open(path));
    ASSERT_TRUE(length.ok());
    EXPECT_EQ((*audioBackend().openSource(*InputFile::openShared(path)))->format().frames,
        static_cast<std::int64_t>(length->frames));
    EXPECT_GE(decodedFrames(path), static_cast<std::int64_t>(length->frames));
}

class OggWalk : public testing::Test {
protected:
    /// Two seconds.
    std::string make(const std::string& name, const std::string& options)
    {
        std::string path = scratch.file(name);
        EXPECT_EQ(run("ffmpeg -v error -y -f lavfi -i \"aevalsrc='0.3*sin(440*2*PI*t)|0.2*sin(990*t*t)':s=48000:d=2\" "
                      + options + " " + test::shellQuoted(path)),
            0);
        return path;
    }
    void SetUp() override
    {
        if (!haveProgram("ffmpeg"))
            GTEST_SKIP() << "ffmpeg is not installed";
    }

    ScratchFolder scratch;
};

} // namespace

TEST_F(OggWalk, AWholeStreamIsAsLongAsItsGranulesSay)
{
    const std::pair<const char*, const char*> rows[] { { "v.ogg", "-c:a libvorbis" },
        { "low.ogg", "-c:a libvorbis -ar 8000 -ac 1 -q:a 0" }, { "high.ogg", "-c:a libvorbis -q:a 9" },
        { "pages.ogg", "-c:a libvorbis -page_duration 20000" }, { "o.opus", "-c:a libopus" },
        { "short.opus", "-c:a libopus -frame_duration 2.5" },
        { "long.opus", "-c:a libopus -frame_duration 60 -ac 1" } };
    for (auto [name, options] : rows) {
        SCOPED_TRACE(name);
        std::string path = make(name, options);
        EXPECT_TRUE(isWhole(path));
        expectEnoughIsDecoded(path);
    }
}

TEST_F(OggWalk, DamageIsSeen)
{
    for (const char* name : { "v.ogg", "o.opus" }) {
        SCOPED_TRACE(name);
        Bytes whole = readFile(make(name, ""));
        Bytes damaged = whole;
        damaged[whole.size() / 2] ^= 1;
        EXPECT_FALSE(isWhole(scratch.write("damaged", ByteView(damaged))));
        EXPECT_FALSE(isWhole(scratch.write("cut", ByteView(whole).first(whole.size() - 10))));
        Bytes chained = whole;
        chained.insert(chained.end(), whole.begin(), whole.end());
        EXPECT_FALSE(isWhole(scratch.write("chained", ByteView(chained))));
        Bytes tagged = whole;
        tagged.push_back('T');
        EXPECT_FALSE(isWhole(scratch.write("tagged", ByteView(tagged))));
        // A page is missing.
        Bytes holed = whole;
        std::size_t from = 0;
        for (int i = 0; i < 2; ++i)
            from += OggPage::parse(ByteView(holed).subspan(from))->size;
        auto begin = holed.begin() + static_cast<std::ptrdiff_t>(from);
        holed.erase(begin, begin + static_cast<std::ptrdiff_t>(OggPage::parse(ByteView(holed).subspan(from))->size));
        EXPECT_FALSE(isWhole(scratch.write("holed", ByteView(holed))));
    }
    EXPECT_FALSE(isWhole(scratch.write("empty", "")));
    EXPECT_FALSE(isWhole(make("flac.ogg", "-c:a flac"))) << "its length stands in its header";
}

TEST_F(OggWalk, EveryWholeStreamOfTheCorpus)
{
    MV_NEEDS_CORPUS();
    int whole = 0;
    for (const std::string& name : corpusFiles("audio")) {
        SCOPED_TRACE(name);
        if (!isWhole(corpusFile(name)))
            continue;
        expectEnoughIsDecoded(corpusFile(name));
        ++whole;
    }
    EXPECT_GE(whole, 5);
}
