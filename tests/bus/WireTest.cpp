#include "bus/Wire.h"

#include "bus/BusError.h"
#include "bus/BusHandle.h"
#include "tests/support/PrivateBus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace mv {
namespace {

/// Messages need a bus to belong to.
class Wire : public testing::Test {
protected:
    Wire()
        : m_bus(std::move(*openSessionBus()))
    {
    }

    BusMessage message()
    {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(m_bus.get(), &made, "/", "Mivo.Test", "test");
        return BusMessage(made);
    }
    /// Ends the writing and goes back to the front for reading.
    static void seal(const BusMessage& message)
    {
        ASSERT_GE(sd_bus_message_seal(message.get(), 1, 0), 0);
        ASSERT_GE(sd_bus_message_rewind(message.get(), 1), 0);
    }
    static std::string signature(const BusMessage& message) { return sd_bus_message_get_signature(message.get(), 1); }

    test::PrivateBus m_daemon;
    BusHandle m_bus;
};

TEST_F(Wire, ARecordOfEveryKindRoundTrips)
{
    Record record {
        { "string", "한국 😀" },
        { "flag", true },
        { "integer", -7 },
        { "size", std::int64_t { 5'000'000'000 } },
        { "real", 27.5 },
        { "date", Date { -1'234'567 } },
        { "data", Bytes { 0, 255, 7 } },
        { "empty data", Bytes {} },
        { "null", NullObject {} },
    };
    BusMessage out = message();
    WireWriter(out.get()).record(record);
    EXPECT_EQ(signature(out), "a{sv}");
    seal(out);
    EXPECT_EQ(WireReader(out.get()).record(), record);
}

TEST_F(Wire, NilIsAnArrayOfNone)
{
    BusMessage out = message();
    WireWriter(out.get()).optionalRecord(std::nullopt).optionalString(std::nullopt).optionalDate(std::nullopt);
    EXPECT_EQ(signature(out), "aa{sv}asa(x)");
    seal(out);
    WireReader in(out.get());
    EXPECT_EQ(in.optionalRecord(), std::nullopt);
    EXPECT_EQ(in.optionalString(), std::nullopt);
    EXPECT_EQ(in.optionalDate(), std::nullopt);
}

TEST_F(Wire, OneElementIsTheValue)
{
    BusMessage out = message();
    WireWriter(out.get()).optionalRecord(Record {}).optionalString("").optionalDate(Date { 9 });
    seal(out);
    WireReader in(out.get());
    EXPECT_EQ(in.optionalRecord(), Record {}) << "an empty record is not nil";
    EXPECT_EQ(in.optionalString(), "");
    EXPECT_EQ(in.optionalDate(), Date { 9 });
}

TEST_F(Wire, EntriesOfOtherKindsRoundTrip)
{
    BusMessage out = message();
    WireWriter writer(out.get());
    writer.list("{sv}", [&] {
        writer.entry("words", "as", [&] { writer.list("s", [&] { writer.string("a").string("b"); }); });
        writer.entry("number", "u", [&] { writer.unsignedInteger(4'000'000'000); });
        writer.entry("left out", "(tx)", [&] {
            sd_bus_message_open_container(out.get(), 'r', "tx");
            writer.unsignedLongInteger(1).longInteger(-1);
            sd_bus_message_close_container(out.get());
        });
    });
    EXPECT_EQ(signature(out), "a{sv}");
    seal(out);
    WireReader in(out.get());
    std::vector<std::string> words;
    std::uint32_t number = 0;
    in.entries([&](const std::string& key, const std::string& valueSignature) {
        if (key == "words")
            words = in.strings();
        else if (key == "number")
            number = in.unsignedInteger();
        else
            in.skip(valueSignature);
    });
    EXPECT_EQ(words, (std::vector<std::string> { "a", "b" }));
    EXPECT_EQ(number, 4'000'000'000u);
}

TEST_F(Wire, AHandleIsACopyThatNoOtherProgramInherits)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    BusMessage out = message();
    WireWriter(out.get()).handle(ends[0]);
    close(ends[0]);
    seal(out);
    UniqueFd copy = WireReader(out.get()).handle();
    out.reset();
    EXPECT_EQ(write(ends[1], "x", 1), 1);
    close(ends[1]);
    char got = 0;
    EXPECT_EQ(read(copy.get(), &got, 1), 1);
    EXPECT_EQ(got, 'x');
    EXPECT_EQ(fcntl(copy.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(Wire, TwoElementsAreNeitherNilNorAValue)
{
    BusMessage out = message();
    ASSERT_GE(sd_bus_message_append(
                  out.get(), "asa(x)aa{sv}", 2, "a", "b", 2, std::int64_t { 1 }, std::int64_t { 2 }, 2, 0, 0),
        0);
    seal(out);
    EXPECT_THROW(WireReader(out.get()).optionalString(), BusError);
    ASSERT_GE(sd_bus_message_rewind(out.get(), 1), 0);
    ASSERT_GE(sd_bus_message_skip(out.get(), "as"), 0);
    EXPECT_THROW(WireReader(out.get()).optionalDate(), BusError);
    ASSERT_GE(sd_bus_message_rewind(out.get(), 1), 0);
    ASSERT_GE(sd_bus_message_skip(out.get(), "asa(x)"), 0);
    EXPECT_THROW(WireReader(out.get()).optionalRecord(), BusError);
}

TEST_F(Wire, AnyIntegerTypeIsTakenWhereANumberIsMeant)
{
    BusMessage out = message();
    sd_bus_message* raw = out.get();
    ASSERT_GE(sd_bus_message_append(raw, "a{sv}", 8, "y", "y", 200, "n", "n", -3, "q", "q", 65535, "i", "i", -9, "u",
                  "u", 4'000'000'000u, "x", "x", std::int64_t { -5 }, "t", "t", ~std::uint64_t { 0 }, "b", "b", 1),
        0);
    seal(out);
    Record record = WireReader(raw).record();
    EXPECT_EQ(record.integer("y"), 200);
    EXPECT_EQ(record.integer("n"), -3);
    EXPECT_EQ(record.integer("q"), 65535);
    EXPECT_EQ(record.integer("i"), -9);
    EXPECT_EQ(*record.find("u"), Value(std::int64_t { 4'000'000'000 }));
    EXPECT_EQ(*record.find("x"), Value(-5)) << "what fits is a 32-bit value";
    EXPECT_EQ(*record.find("t"), Value(INT64_MAX));
    EXPECT_EQ(record.boolean("b"), true);
}

TEST_F(Wire, AFileSizeAlwaysHas64Bits)
{
    for (Value size : { Value(0), Value(4711), Value(std::int64_t { 4711 }), Value(std::int64_t { 5'000'000'000 }) }) {
        BusMessage out = message();
        WireWriter(out.get()).record({ { "FileSize", size }, { "TrackNo", 7 } });
        seal(out);
        const char* contents = nullptr;
        ASSERT_GT(sd_bus_message_enter_container(out.get(), 'a', "{sv}"), 0);
        for (const char* expected : { "x", "i" }) {
            ASSERT_GT(sd_bus_message_enter_container(out.get(), 'e', "sv"), 0);
            ASSERT_GE(sd_bus_message_skip(out.get(), "s"), 0);
            ASSERT_GT(sd_bus_message_peek_type(out.get(), nullptr, &contents), 0);
            EXPECT_STREQ(contents, expected);
            ASSERT_GE(sd_bus_message_skip(out.get(), "v"), 0);
            ASSERT_GE(sd_bus_message_exit_container(out.get()), 0);
        }
    }
}

TEST_F(Wire, ValuesOfOtherKindsStopNothing)
{
    BusMessage out = message();
    sd_bus_message* raw = out.get();
    ASSERT_GE(sd_bus_message_open_container(raw, 'a', "{sv}"), 0);
    auto add = [raw](const char* key, const char* signature, auto... values) {
        ASSERT_GE(sd_bus_message_append(raw, "{sv}", key, signature, values...), 0) << key;
    };
    add("strings", "as", 2, "a", "b");
    add("no strings", "as", 0);
    add("record", "a{sv}", 2, "k", "i", 1, "l", "as", 1, "m");
    add("structure", "(si)", "s", 1);
    add("date and more", "(xx)", std::int64_t { 1 }, std::int64_t { 2 });
    add("integers", "ai", 3, 1, 2, 3);
    add("list of data", "aay", 2, 2, 7, 8, 0);
    add("variant", "v", "v", "s", "deep");
    add("path", "o", "/a/path");
    add("signature", "g", "as");
    add("descriptor", "h", STDERR_FILENO);
    add("Title", "s", "title");
    ASSERT_GE(sd_bus_message_close_container(raw), 0);
    ASSERT_GE(sd_bus_message_append(raw, "i", 7), 0);
    seal(out);
    WireReader in(raw);
    Record record = in.record();
    EXPECT_EQ(record.size(), 12u);
    EXPECT_EQ(*record.string("Title"), "title");
    for (const auto& [key, value] : record)
        EXPECT_EQ(value.isOtherKind(), key != "Title") << key;
    EXPECT_EQ(in.integer(), 7) << "what follows is in its place";
}

TEST_F(Wire, ValuesOfOtherKindsAreLeftOutOnTheWayOut)
{
    BusMessage out = message();
    WireWriter(out.get()).record({ { "other", OtherKind {} }, { "Title", "title" } });
    seal(out);
    EXPECT_EQ(WireReader(out.get()).record(), (Record { { "Title", "title" } }));
}

TEST_F(Wire, WhatIsNoRecordIsInvalid)
{
    BusMessage out = message();
    ASSERT_GE(sd_bus_message_append(out.get(), "a{si}", 1, "key", 1), 0);
    seal(out);
    WireReader in(out.get());
    try {
        in.record();
        FAIL() << "taken";
    } catch (const BusError& error) {
        EXPECT_EQ(error.name(), "org.freedesktop.DBus.Error.InvalidArgs");
    }
}

TEST_F(Wire, TextIsCleanedOnTheWay)
{
    BusMessage out = message();
    WireWriter(out.get()).string("caf\xE9").string(std::string("a\0b", 3));
    seal(out);
    WireReader in(out.get());
    EXPECT_EQ(in.string(), "caf\xEF\xBF\xBD");
    EXPECT_EQ(in.string(),
        "a\xEF\xBF\xBD"
        "b");
}

TEST_F(Wire, NoncharactersAreReplacedBecauseBusesRefuseThem)
{
    const std::string replaced = "\xEF\xBF\xBD";
    BusMessage out = message();
    WireWriter(out.get())
        .string("a\xEF\xB7\x90z") // U+FDD0
        .string("a\xEF\xBF\xBE\xEF\xBF\xBF") // U+FFFE, U+FFFF
        .string("\xF0\x9F\xBF\xBE|\xF4\x8F\xBF\xBF") // U+1FFFE, U+10FFFF
        .string("\xEF\xBF\xBD\xEF\xBF\xAE\xEF\xB7\xB0\xF0\x9F\xBE\xBE"); // neighbours of theirs
    seal(out);
    WireReader in(out.get());
    EXPECT_EQ(in.string(), "a" + replaced + "z");
    EXPECT_EQ(in.string(), "a" + replaced + replaced);
    EXPECT_EQ(in.string(), replaced + "|" + replaced);
    EXPECT_EQ(in.string(), "\xEF\xBF\xBD\xEF\xBF\xAE\xEF\xB7\xB0\xF0\x9F\xBE\xBE");
}

TEST_F(Wire, AMillionZeroBytesAreReplacedInOnePass)
{
    constexpr std::size_t Count = 1'000'000;
    BusMessage out = message();
    WireWriter(out.get()).string(std::string(Count, '\0'));
    seal(out);
    EXPECT_EQ(WireReader(out.get()).string().size(), 3 * Count);
}

TEST_F(Wire, MoreThan32MiBIsRefused)
{
    BusMessage fits = message();
    EXPECT_NO_THROW(WireWriter(fits.get()).record({ { "d", Bytes((32u << 20) - 1000) } }));
    BusMessage tooLarge = message();
    try {
        WireWriter(tooLarge.get()).record({ { "d", Bytes((32u << 20) + 1) } });
        FAIL() << "encoded";
    } catch (const BusError& error) {
        EXPECT_EQ(error.name(), "org.freedesktop.DBus.Error.LimitsExceeded");
    }
}

TEST_F(Wire, Structures)
{
    BusMessage out = message();
    WireWriter(out.get()).realPair(100.5, 90).stringAndInteger("domain", 7).objectPath("/info/1");
    EXPECT_EQ(signature(out), "(dd)(si)o");
    seal(out);
    WireReader in(out.get());
    EXPECT_EQ(in.realPair(), (std::pair { 100.5, 90.0 }));
    EXPECT_EQ(in.stringAndInteger(), (std::pair<std::string, std::int32_t> { "domain", 7 }));
    EXPECT_EQ(in.objectPath(), "/info/1");
}

} // namespace
} // namespace mv
