// Requests of Mivo.Media1 and how its answers are read, those too that are none.
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"
#include "system/SealedFile.h"
#include "tests/client/Media1Fixture.h"

#include <unistd.h>

namespace mv {
namespace {

using testing::ElementsAre;

std::string contentOf(int file)
{
    std::string text(100, '\0');
    ssize_t size = read(file, text.data(), text.size());
    text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return text;
}

UniqueFd fileWith(std::string_view text) { return std::move(sealedFile(bytesOf(text))).value(); }

TEST_F(Media1ClientTest, FactsOfEveryTypeAreRead)
{
    auto answer = answerOf(describeRequest("/a.mp3"), [](WireWriter& out) {
        out.list("{sv}", [&] {
            putText(out, fact::Title, "Song");
            out.entry(fact::Artist, "as", [&] { out.list("s", [&] { out.string("A").string("B"); }); });
            out.entry(fact::TrackNumber, "i", [&] { out.integer(-7); });
            out.entry(fact::SampleRate, "u", [&] { out.unsignedInteger(44100); });
            out.entry(fact::Length, "x", [&] { out.longInteger(-5); });
            out.entry(fact::Size, "t", [&] { out.unsignedLongInteger(std::uint64_t { 1 } << 63); });
            out.entry(fact::Altitude, "d", [&] { out.real(-1.5); });
            out.entry(fact::HasPicture, "b", [&] { out.boolean(true); });
            out.entry("mivo:ofTheFuture", "a(sv)", [&] { out.list("(sv)", [] {}); });
        });
    });
    ASSERT_TRUE(answer.ok()) << answer.error().text;
    Facts expected;
    expected.set(fact::Title, "Song");
    expected.set(fact::Artist, std::vector<std::string> { "A", "B" });
    expected.set(fact::TrackNumber, std::int32_t { -7 });
    expected.set(fact::SampleRate, std::uint32_t { 44100 });
    expected.set(fact::Length, std::int64_t { -5 });
    expected.set(fact::Size, std::uint64_t { 1 } << 63);
    expected.set(fact::Altitude, -1.5);
    expected.set(fact::HasPicture, true);
    EXPECT_EQ(answer->facts, expected);
    EXPECT_TRUE(answer->pictures.empty());
}

TEST_F(Media1ClientTest, CallsSayWhatIsAsked)
{
    std::vector<std::string> asked;
    FakeMedia service([&](FakeCall call) {
        std::string text = call.member();
        WireReader in = call.arguments();
        if (call.member().ends_with("File"))
            text += " " + contentOf(in.handle().get());
        text += " " + in.string();
        if (call.member().starts_with("Thumb"))
            text += " " + std::to_string(in.unsignedInteger());
        in.entries([&](const std::string& key, const std::string& signature) {
            text += " " + key + "=" + (signature == "s" ? in.string() : in.boolean() ? "true" : "false");
        });
        asked.push_back(text);
        call.fail("Mivo.Media1.Error.NotMedia", "No.");
    });
    UniqueFd file = fileWith("content");
    (void)m_client.call(describeRequest("/a"));
    (void)m_client.call(describeRequest("/a", true));
    (void)m_client.call(describeFileRequest(file.get(), "n"));
    (void)m_client.call(thumbnailRequest("/b", { .size = 64 }));
    lseek(file.get(), 0, SEEK_SET);
    (void)m_client.call(thumbnailFileRequest(file.get(), "", { .upright = false, .format = ThumbnailFormat::Rgba }));
    EXPECT_THAT(asked,
        ElementsAre("Describe /a", "Describe /a pictures=true", "DescribeFile content n",
            "Thumbnail /b 64 format=png upright=true", "ThumbnailFile content  256 format=rgba upright=false"));
}

TEST_F(Media1ClientTest, TagsHaveTheirTypes)
{
    std::map<std::string, std::string> seen;
    FakeMedia service([&](FakeCall call) {
        WireReader in = call.arguments();
        seen["path"] = in.string();
        in.entries([&](const std::string& key, const std::string& signature) {
            std::string value = signature == "s" ? in.string()
                : signature == "as"              ? testing::PrintToString(in.strings())
                : signature == "i"               ? std::to_string(in.integer())
                : signature == "ay"              ? std::to_string(in.bytes().size())
                : signature == "h"               ? contentOf(in.handle().get())
                                                 : (in.isNullObject() ? "" : "?");
            seen[key] = signature + " " + value;
        });
        call.answer([](WireWriter& out) { putTitle(out, "New"); });
    });
    UniqueFd cover = fileWith("cover");
    auto facts = m_client.call(setTagsRequest("/a.mp3",
        { { "xesam:title", "New" }, { "xesam:artist", std::vector<std::string> { "A", "B" } }, { "mivo:discTotal", 2 },
            { "xesam:album", std::monostate() }, { "other", Bytes { 1, 2 } },
            { std::string(FrontCoverTag), BorrowedFile { cover.get() } } }));
    ASSERT_TRUE(facts.ok()) << facts.error().text;
    EXPECT_EQ(*facts->get<std::string>(fact::Title), "New");
    EXPECT_EQ(seen,
        (std::map<std::string, std::string> { { "path", "/a.mp3" }, { "xesam:title", "s New" },
            { "xesam:artist", "as { \"A\", \"B\" }" }, { "mivo:discTotal", "i 2" }, { "xesam:album", "g " },
            { "other", "ay 2" }, { "mivo:frontCover", "h cover" } }));
}

TEST_F(Media1ClientTest, PicturesComeAsFiles)
{
    UniqueFd first = fileWith("first");
    auto answer = answerOf(describeRequest("/a.mp3", true), [&](WireWriter& out) {
        out.list("{sv}", [&] {
            out.entry("mivo:pictures", "aa{sv}", [&] {
                out.list("a{sv}", [&] {
                    out.list("{sv}", [&] {
                        out.entry("type", "u", [&] { out.unsignedInteger(3); });
                        putText(out, "mimeType", "image/png");
                        putText(out, "description", "front");
                        out.entry("data", "h", [&] { out.handle(first.get()); });
                        out.entry("later", "i", [&] { out.integer(1); });
                    });
                });
            });
        });
    });
    ASSERT_TRUE(answer.ok()) << answer.error().text;
    ASSERT_EQ(answer->pictures.size(), 1u);
    const MediaPicture& picture = answer->pictures.front();
    EXPECT_EQ(picture.type, 3u);
    EXPECT_EQ(picture.mimeType + picture.description, "image/pngfront");
    EXPECT_EQ(contentOf(picture.data.get()), "first");
}

TEST_F(Media1ClientTest, ManyAreToldApart)
{
    auto answer = answerOf(describeManyRequest({ "/a", "/b" }), [](WireWriter& out) {
        out.list("a{sv}", [&] {
            putTitle(out, "A");
            out.list("{sv}", [&] {
                putText(out, "mivo:error", "Mivo.Media1.Error.NotMedia");
                putText(out, "mivo:errorMessage", "\"b\" is no media.");
            });
        });
    });
    ASSERT_TRUE(answer.ok()) << answer.error().text;
    ASSERT_EQ(answer->size(), 2u);
    EXPECT_EQ(*answer->at(0)->get<std::string>(fact::Title), "A");
    EXPECT_EQ(mediaErrorKind(answer->at(1).error()), MediaErrorKind::NotMedia);
    EXPECT_EQ(answer->at(1).error().text, "\"b\" is no media.");
}

TEST_F(Media1ClientTest, ErrorsHaveTheirKinds)
{
    std::string name;
    FakeMedia service([&](FakeCall call) { call.fail(name, "A sentence."); });
    auto errorNamed = [&](std::string one) {
        name = std::move(one);
        return m_client.call(describeRequest("/a")).error();
    };
    for (std::size_t i = 1; i <= static_cast<std::size_t>(LastMediaErrorKind); ++i) {
        auto kind = static_cast<MediaErrorKind>(i);
        Error error = errorNamed("Mivo.Media1.Error." + std::string(nameOf(kind)));
        EXPECT_EQ(mediaErrorKind(error), kind) << error.name;
        EXPECT_FALSE(isMissingService(error));
        EXPECT_EQ(error.text, "A sentence.");
    }
    EXPECT_EQ(mediaErrorKind(errorNamed("Mivo.Media1.Error.OfTheFuture")), MediaErrorKind::Failed);
    Error other = errorNamed("org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(mediaErrorKind(other), std::nullopt);
    EXPECT_EQ(other.kind, Error::Kind::Format);
}

TEST_F(Media1ClientTest, AServiceThatIsNotThereIsMissing)
{
    auto answer = m_client.call(describeRequest("/a"));
    ASSERT_FALSE(answer.ok());
    EXPECT_TRUE(isMissingService(answer.error())) << answer.error().name;
}

TEST_F(Media1ClientTest, NamesThatNoMessageCanHaveAreNotSent)
{
    FakeMedia service([](FakeCall call) { call.answer([](WireWriter& out) { putTitle(out, "Another"); }); });
    std::vector<std::string> bad { "/\xff.mp3", std::string("/a\0b", 4), "/\xef\xbf\xbf.mp3" };
    for (const std::string& path : bad) {
        EXPECT_EQ(errorOf(m_client.call(describeRequest(path))), "org.freedesktop.DBus.Error.InvalidArgs");
        EXPECT_EQ(
            errorOf(m_client.call(describeManyRequest({ "/a", path }))), "org.freedesktop.DBus.Error.InvalidArgs");
        EXPECT_EQ(errorOf(m_client.call(setTagsRequest(path, {}))), "org.freedesktop.DBus.Error.InvalidArgs");
        EXPECT_EQ(errorOf(m_client.encode("/a", path)), "org.freedesktop.DBus.Error.InvalidArgs");
        std::string told;
        EXPECT_EQ(m_client.begin<MediaDescription>(
                      describeRequest(path), [&](Result<MediaDescription> one) { told = errorOf(one); }),
            0u);
        EXPECT_EQ(told, "org.freedesktop.DBus.Error.InvalidArgs");
    }
    EXPECT_EQ(service.calls("Describe") + service.calls("DescribeMany") + service.calls("SetTags"), 0);
}

/// Answers that the interface does not know.
struct OddAnswer {
    const char* what;
    std::function<void(WireWriter&)> fill;
};

TEST_F(Media1ClientTest, WrongFactsAreAnError)
{
    auto entry = [](std::string_view key, const char* signature, const std::function<void(WireWriter&)>& put) {
        return [=](WireWriter& out) { out.list("{sv}", [&] { out.entry(key, signature, [&] { put(out); }); }); };
    };
    auto pictures = [](int count, const std::function<void(WireWriter&)>& put) {
        return [=](WireWriter& out) {
            out.list("{sv}", [&] {
                out.entry("mivo:pictures", "aa{sv}", [&] {
                    out.list("a{sv}", [&] {
                        for (int i = 0; i < count; ++i)
                            out.list("{sv}", [&] { put(out); });
                    });
                });
            });
        };
    };
    auto putHandle = [](WireWriter& out) { out.entry("data", "h", [&] { out.handle(STDERR_FILENO); }); };
    const OddAnswer answers[] {
        { "nothing", [](WireWriter&) {} },
        { "a text", [](WireWriter& out) { out.string("facts"); } },
        { "a list of facts", [](WireWriter& out) { out.list("a{sv}", [&] { putTitle(out, "A"); }); } },
        { "a number for a text", entry(fact::Title, "u", [](WireWriter& out) { out.unsignedInteger(1); }) },
        { "a text for texts", entry(fact::Artist, "s", [](WireWriter& out) { out.string("A"); }) },
        { "another integer", entry(fact::SampleRate, "i", [](WireWriter& out) { out.integer(1); }) },
        { "no list of pictures", entry("mivo:pictures", "as", [](WireWriter& out) { out.list("s", [] {}); }) },
        { "a picture without data", pictures(1, [](WireWriter& out) { putText(out, "mimeType", "image/png"); }) },
        { "bytes of a picture",
            pictures(1, [](WireWriter& out) { out.entry("data", "ay", [&] { out.bytes(Bytes { 1 }); }); }) },
        { "a number for a type",
            pictures(1, [](WireWriter& out) { out.entry("mimeType", "d", [&] { out.real(1); }); }) },
    };
    for (const OddAnswer& answer : answers) {
        EXPECT_EQ(errorOf(answerOf(describeRequest("/a", true), answer.fill)), WrongAnswer) << answer.what;
    }
    EXPECT_TRUE(answerOf(describeRequest("/a", true), pictures(16, putHandle)).ok());
    // A message has no more handles than that.
    int count = 0;
    auto tooMany = answerOf(describeRequest("/a", true), pictures(17, [&](WireWriter& out) {
        if (++count <= 16)
            putHandle(out);
    }));
    ASSERT_FALSE(tooMany.ok());
    EXPECT_EQ(tooMany.error().text, "the service's answer is none: there are more pictures than there can be");
}

TEST_F(Media1ClientTest, WrongListsOfFactsAreAnError)
{
    auto titles = [](int count) {
        return [=](WireWriter& out) {
            out.list("a{sv}", [&] {
                for (int i = 0; i < count; ++i)
                    putTitle(out, "A");
            });
        };
    };
    const OddAnswer answers[] {
        { "one too few", titles(1) },
        { "one too many", titles(3) },
        { "none", titles(0) },
        { "one's facts", [](WireWriter& out) { putTitle(out, "A"); } },
        { "an error with facts",
            [](WireWriter& out) {
                out.list("a{sv}", [&] {
                    putTitle(out, "A");
                    out.list("{sv}", [&] {
                        putText(out, "mivo:error", "Mivo.Media1.Error.NotMedia");
                        putText(out, fact::Title, "B");
                    });
                });
            } },
        { "an error that is no text",
            [](WireWriter& out) {
                out.list("a{sv}", [&] {
                    putTitle(out, "A");
                    out.list("{sv}", [&] { out.entry("mivo:error", "i", [&] { out.integer(1); }); });
                });
            } },
    };
    for (const OddAnswer& answer : answers) {
        EXPECT_EQ(errorOf(answerOf(describeManyRequest({ "/a", "/b" }), answer.fill)), WrongAnswer) << answer.what;
    }
    EXPECT_TRUE(answerOf(describeManyRequest({ "/a", "/b" }), titles(2)).ok());
}

TEST_F(Media1ClientTest, WrongThumbnailsAreAnError)
{
    auto facts = [](WireWriter& out, bool isWhole) {
        out.list("{sv}", [&] {
            out.entry(fact::Width, "u", [&] { out.unsignedInteger(4); });
            out.entry(fact::Height, "u", [&] { out.unsignedInteger(5); });
            if (isWhole)
                putText(out, fact::MimeType, "image/png");
        });
    };
    UniqueFd file = fileWith("picture");
    auto request = thumbnailRequest("/a", {});
    auto right = answerOf(request, [&](WireWriter& out) { facts(out.handle(file.get()), true); });
    ASSERT_TRUE(right.ok()) << right.error().text;
    EXPECT_EQ(contentOf(right->picture.get()), "picture");
    EXPECT_EQ(right->width, 4u);
    EXPECT_EQ(right->height, 5u);
    EXPECT_EQ(right->mimeType, "image/png");
    EXPECT_FALSE(answerOf(request, [&](WireWriter& out) { facts(out.handle(file.get()), false); }).ok());
    EXPECT_FALSE(answerOf(request, [&](WireWriter& out) { out.handle(file.get()); }).ok());
    EXPECT_FALSE(answerOf(request, [&](WireWriter& out) { facts(out, true); }).ok());
    EXPECT_FALSE(answerOf(request, [&](WireWriter& out) { facts(out.bytes(Bytes { 1 }), true); }).ok());
}

} // namespace
} // namespace mv
