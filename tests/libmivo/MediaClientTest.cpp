// What is asked of the service, and what its answers become.
#include "service/include/WireNames.h"
#include "system/SealedFile.h"
#include "tests/libmivo/LibraryMedia.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mivo {
namespace {

using testing::ElementsAre;

TEST_F(LibraryMedia, FactsAreARecord)
{
    FakeMedia service([](const FakeCall& call) {
        call.answer([](WireWriter& out) {
            out.list("{sv}", [&] {
                out.entry("xesam:title", "s", [&] { out.string("Song"); });
                out.entry("xesam:artist", "as", [&] { out.list("s", [&] { out.string("A").string("B"); }); });
                out.entry("xesam:trackNumber", "i", [&] { out.integer(7); });
                out.entry("mivo:sampleRate", "u", [&] { out.unsignedInteger(4'000'000'000); });
                out.entry("mpris:length", "x", [&] { out.longInteger(123'456'789'012); });
                out.entry("mivo:size", "t", [&] { out.unsignedLongInteger(~std::uint64_t {}); });
                out.entry("mivo:latitude", "d", [&] { out.real(-1.5); });
                out.entry("mivo:hasPicture", "b", [&] { out.boolean(true); });
            });
        });
    });
    Record facts = m_client.describe("/a.mp3").get();
    using namespace keys::fact;
    EXPECT_EQ(facts[Title].text(), "Song");
    EXPECT_THAT(facts[Artist].texts(), ElementsAre("A", "B"));
    EXPECT_EQ(facts[Artist].text(), "A");
    EXPECT_EQ(facts[Artist].kind(), Value::Kind::Texts);
    EXPECT_EQ(facts[TrackNumber].integer(), 7);
    EXPECT_EQ(facts[SampleRate].integer(), 4'000'000'000);
    EXPECT_EQ(facts[Length].integer(), 123'456'789'012);
    EXPECT_EQ(facts[Size].integer(), std::numeric_limits<long long>::max());
    EXPECT_EQ(facts[Latitude].real(), -1.5);
    EXPECT_TRUE(facts[HasPicture].boolean());
    EXPECT_EQ(facts.entries().size(), 8u);
}

TEST_F(LibraryMedia, ErrorsHaveTheirKinds)
{
    const std::pair<const char*, Error::Kind> rows[] {
        { "Mivo.Media1.Error.NotFound", Error::Kind::NotFound },
        { "Mivo.Media1.Error.AccessDenied", Error::Kind::AccessDenied },
        { "Mivo.Media1.Error.NotRegular", Error::Kind::NotRegular },
        { "Mivo.Media1.Error.NotMedia", Error::Kind::NotMedia },
        { "Mivo.Media1.Error.NoPicture", Error::Kind::NoPicture },
        { "Mivo.Media1.Error.Unsupported", Error::Kind::Unsupported },
        { "Mivo.Media1.Error.Exists", Error::Kind::Exists },
        { "Mivo.Media1.Error.TooLarge", Error::Kind::TooLarge },
        { "Mivo.Media1.Error.NoSpace", Error::Kind::NoSpace },
        { "Mivo.Media1.Error.TimedOut", Error::Kind::TimedOut },
        { "Mivo.Media1.Error.Crashed", Error::Kind::Crashed },
        { "Mivo.Media1.Error.Cancelled", Error::Kind::Cancelled },
        { "Mivo.Media1.Error.Failed", Error::Kind::Failed },
        { "Mivo.Media1.Error.OfTheFuture", Error::Kind::Failed },
        { "org.freedesktop.DBus.Error.InvalidArgs", Error::Kind::InvalidArgument },
        { "org.freedesktop.DBus.Error.LimitsExceeded", Error::Kind::TooLarge },
        { "org.freedesktop.DBus.Error.NoReply", Error::Kind::Lost },
        { "org.freedesktop.DBus.Error.Spawn.ChildExited", Error::Kind::NoService },
        { "Somebodys.Own", Error::Kind::Failed },
    };
    std::string name;
    FakeMedia service([&](const FakeCall& call) { call.fail(name, "A sentence."); });
    for (const auto& [one, kind] : rows) {
        name = one;
        Error error = errorOf([&] { m_client.describe("/a").get(); });
        EXPECT_EQ(error.kind(), kind) << one;
        EXPECT_EQ(error.name(), one);
        EXPECT_STREQ(error.what(), "A sentence.");
    }
}

TEST_F(LibraryMedia, WithoutAServiceThereIsAnError)
{
    EXPECT_EQ(errorOf([&] { m_client.describe("/a").get(); }).kind(), Error::Kind::NoService);
}

TEST_F(LibraryMedia, PicturesAreFilesOfTheCallers)
{
    auto file = std::move(mv::sealedFile(mv::bytesOf("picture"))).value();
    FakeMedia service([&](const FakeCall& call) {
        call.answer([&](WireWriter& out) {
            if (call.member() == "Thumbnail")
                out.handle(file.get());
            out.list("{sv}", [&] {
                if (call.member() == "Thumbnail") {
                    out.entry("mivo:width", "u", [&] { out.unsignedInteger(4); });
                    out.entry("mivo:height", "u", [&] { out.unsignedInteger(5); });
                    out.entry("mivo:mimeType", "s", [&] { out.string("image/png"); });
                    return;
                }
                out.entry("xesam:title", "s", [&] { out.string("Song"); });
                out.entry("mivo:pictures", "aa{sv}", [&] {
                    out.list("a{sv}", [&] {
                        out.list("{sv}", [&] {
                            out.entry("type", "u", [&] { out.unsignedInteger(3); });
                            out.entry("mimeType", "s", [&] { out.string("image/jpeg"); });
                            out.entry("description", "s", [&] { out.string("front"); });
                            out.entry("data", "h", [&] { out.handle(file.get()); });
                        });
                    });
                });
            });
        });
    });
    Picture thumbnail = m_client.thumbnail("/a", 64).get();
    EXPECT_EQ(thumbnail.width(), 4);
    EXPECT_EQ(thumbnail.height(), 5);
    EXPECT_EQ(thumbnail.mimeType(), "image/png");
    EXPECT_EQ(thumbnail.content(), (Bytes { 'p', 'i', 'c', 't', 'u', 'r', 'e' }));
    EXPECT_EQ(lseek(thumbnail.file().descriptor(), 0, SEEK_CUR), 0);
    EXPECT_EQ(errorOf([&] { (void)thumbnail.file().content(6); }).kind(), Error::Kind::TooLarge);
    int descriptor = thumbnail.takeFile().release();
    EXPECT_GE(fcntl(descriptor, F_GETFD), 0);
    close(descriptor);
    EXPECT_FALSE(thumbnail.file());
    EXPECT_THROW((void)thumbnail.content(), Error);

    Description description = m_client.describeWithPictures("/a").get();
    EXPECT_EQ(description.facts()[keys::fact::Title].text(), "Song");
    ASSERT_EQ(description.pictures().size(), 1u);
    std::vector<Picture> pictures = description.takePictures();
    EXPECT_TRUE(description.pictures().empty());
    EXPECT_EQ(pictures[0].type(), Picture::FrontCover);
    EXPECT_EQ(pictures[0].mimeType() + pictures[0].description(), "image/jpegfront");
    descriptor = pictures[0].file().descriptor();
    pictures.clear();
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(LibraryMedia, OpenedFilesAreSentAsTheyAre)
{
    mv::test::ScratchFolder folder;
    std::string odd = folder.write("odd \xff name", "content");
    std::string seen;
    FakeMedia service([&](const FakeCall& call) {
        WireReader in = call.arguments();
        char text[20] {};
        mv::UniqueFd file = in.handle();
        seen = std::string(text, static_cast<std::size_t>(pread(file.get(), text, sizeof text, 0)));
        seen += " " + in.string();
        call.answer([](WireWriter& out) { putTitle(out, "T"); });
    });
    EXPECT_EQ(errorOf([&] { (void)m_client.describe(odd); }).kind(), Error::Kind::InvalidArgument);
    // The caller's own may go at once.
    auto pending = m_client.describe(Source(File::open(odd), "odd.mp3"));
    EXPECT_EQ(pending.get()[keys::fact::Title].text(), "T");
    EXPECT_EQ(seen, "content odd.mp3");
    EXPECT_EQ(errorOf([] { Source::descriptor(-1); }).kind(), Error::Kind::InvalidArgument);
    EXPECT_EQ(errorOf([&] { File::open(folder.file("none")); }).kind(), Error::Kind::NotFound);
}

TEST_F(LibraryMedia, ManyFilesAreToldApart)
{
    std::vector<std::string> asked;
    FakeMedia service([&](const FakeCall& call) {
        asked = call.arguments().strings();
        call.answer([&](WireWriter& out) {
            out.list("a{sv}", [&] {
                for (const std::string& path : asked) {
                    if (path != "/no") {
                        putTitle(out, path);
                        continue;
                    }
                    out.list("{sv}", [&] {
                        out.entry("mivo:error", "s", [&] { out.string("Mivo.Media1.Error.Crashed"); });
                        out.entry("mivo:errorMessage", "s", [&] { out.string("Its reader died."); });
                    });
                }
            });
        });
    });
    std::vector<Described> files = m_client.describeMany({ "/a", "/\xff", "/no", "/b" }).get();
    EXPECT_THAT(asked, ElementsAre("/a", "/no", "/b"));
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files[0].facts()[keys::fact::Title].text(), "/a");
    EXPECT_EQ(files[1].error()->kind(), Error::Kind::InvalidArgument);
    EXPECT_FALSE(files[2]);
    EXPECT_EQ(errorOf([&] { (void)files[2].facts(); }).kind(), Error::Kind::Crashed);
    EXPECT_EQ(files[3].facts()[keys::fact::Title].text(), "/b");
    EXPECT_EQ(files[3].error(), nullptr);
    EXPECT_EQ(errorOf([&] { (void)m_client.describeMany(std::vector<std::string>(1001, "/a")); }).kind(),
        Error::Kind::InvalidArgument);
}

TEST_F(LibraryMedia, TagsHaveTheirTypes)
{
    std::map<std::string, std::string> seen;
    FakeMedia service([&](const FakeCall& call) {
        WireReader in = call.arguments();
        in.string();
        in.entries([&](const std::string& key, const std::string& signature) {
            std::string value = signature == "s" ? in.string()
                : signature == "as"              ? testing::PrintToString(in.strings())
                : signature == "i"               ? std::to_string(in.integer())
                : signature == "ay"              ? std::to_string(in.bytes().size())
                                                 : "";
            if (signature == "h") {
                struct stat facts { };
                mv::UniqueFd file = in.handle();
                fstat(file.get(), &facts);
                value = std::to_string(facts.st_size);
            } else if (signature == "g") {
                value = in.isNullObject() ? "null" : "?";
            }
            seen[key] = signature + " " + value;
        });
        call.answer([](WireWriter& out) { putTitle(out, "New"); });
    });
    using namespace keys::fact;
    Record after = m_client
                       .setTags("/a.mp3",
                           { { Title, "New" }, { Artist, std::vector<std::string> { "A", "B" } }, { Genre, "Rock" },
                               { TrackNumber, 3 }, { Album, Value() }, { FrontCover, Bytes(10) } })
                       .get();
    EXPECT_EQ(after[Title].text(), "New");
    EXPECT_EQ(seen,
        (std::map<std::string, std::string> { { "xesam:title", "s New" }, { "xesam:artist", "as { \"A\", \"B\" }" },
            { "xesam:genre", "as { \"Rock\" }" }, { "xesam:trackNumber", "i 3" }, { "xesam:album", "g null" },
            { "mivo:frontCover", "ay 10" } }));
    m_client.setTags("/a.mp3", { { FrontCover, Bytes(40u << 20) } }).get();
    EXPECT_EQ(seen["mivo:frontCover"], "h 41943040");
    const Record wrong[] { { { "xesam:titel", "T" } }, { { Title, 1 } },
        { { Title, std::vector<std::string> { "A" } } }, { { Artist, 1 } }, { { TrackNumber, "3" } },
        { { TrackNumber, 1LL << 32 } }, { { FrontCover, "text" } }, { { Length, 1 } } };
    for (const Record& changes : wrong) {
        EXPECT_EQ(errorOf([&] { (void)m_client.setTags("/a", changes); }).kind(), Error::Kind::InvalidArgument)
            << changes.begin()->first;
    }
}

TEST_F(LibraryMedia, OptionsAreCheckedHere)
{
    std::string seen;
    FakeMedia service([&](const FakeCall& call) {
        WireReader in = call.arguments();
        in.string();
        seen = std::to_string(in.unsignedInteger());
        in.entries([&](const std::string& key, const std::string& signature) {
            seen += " " + key + "=" + (signature == "s" ? in.string() : in.boolean() ? "true" : "false");
        });
        call.fail("Mivo.Media1.Error.NoPicture", "");
    });
    using namespace keys::thumbnailing;
    EXPECT_THROW(m_client.thumbnail("/a", 2048, { { Format, "jpeg" }, { Upright, false } }).get(), Error);
    EXPECT_EQ(seen, "2048 format=jpeg upright=false");
    seen.clear();
    for (int size : { 0, -1, 2049 })
        EXPECT_EQ(errorOf([&] { (void)m_client.thumbnail("/a", size); }).kind(), Error::Kind::InvalidArgument);
    for (const Record& options : { Record { { Format, "gif" } }, Record { { Format, 1 } },
             Record { { Upright, "yes" } }, Record { { "size", 1 } } })
        EXPECT_EQ(errorOf([&] { (void)m_client.thumbnail("/a", 1, options); }).kind(), Error::Kind::InvalidArgument);
    EXPECT_EQ(seen, "");
}

TEST_F(LibraryMedia, AnswersThatAreNoneAreErrors)
{
    std::function<void(WireWriter&)> fill;
    FakeMedia service([&](const FakeCall& call) { call.answer(fill); });
    const std::function<void(WireWriter&)> wrong[] {
        [](WireWriter&) {},
        [](WireWriter& out) { out.string("facts"); },
        [](WireWriter& out) { out.list("{sv}", [&] { out.entry("xesam:title", "i", [&] { out.integer(1); }); }); },
        [](WireWriter& out) {
            out.list("{sv}", [&] { out.entry("mivo:pictures", "s", [&] { out.string("none"); }); });
        },
    };
    for (const auto& one : wrong) {
        fill = one;
        EXPECT_EQ(errorOf([&] { m_client.describeWithPictures("/a").get(); }).kind(), Error::Kind::Failed);
        EXPECT_EQ(errorOf([&] { m_client.thumbnail("/a", 1).get(); }).kind(), Error::Kind::Failed);
        EXPECT_EQ(errorOf([&] { m_client.describeMany({ "/a" }).get(); }).kind(), Error::Kind::Failed);
        EXPECT_EQ(errorOf([&] { m_client.encode("/a", "/b").get(); }).kind(), Error::Kind::Failed);
    }
}

TEST_F(LibraryMedia, AThumbnailThatIsAPipeDoesNotKeepItsReader)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    FakeMedia service([&](const FakeCall& call) {
        call.answer([&](WireWriter& out) {
            out.handle(ends[0]).list("{sv}", [&] {
                out.entry("mivo:width", "u", [&] { out.unsignedInteger(4); });
                out.entry("mivo:height", "u", [&] { out.unsignedInteger(~0u); });
                out.entry("mivo:mimeType", "s", [&] { out.string("image/png"); });
            });
        });
    });
    Picture picture = m_client.thumbnail("/a", 1).get();
    EXPECT_EQ(picture.height(), std::numeric_limits<int>::max());
    EXPECT_EQ(errorOf([&] { (void)picture.content(); }).kind(), Error::Kind::NotRegular);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
} // namespace mivo
