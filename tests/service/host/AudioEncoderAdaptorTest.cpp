#include "service/host/adaptors/AudioEncoderAdaptor.h"

#include "tests/service/host/AdaptorTest.h"
#include "tests/support/EncoderDelegate.h"

#include <functional>
#include <optional>
#include <thread>
#include <utility>

namespace mv {
namespace {

/// Sends the messages of a job: start, then a question and a percent ten times, then the end. The input "/fail" fails
/// instead, and "/two" is two jobs at once, whose first loses the delegate.
struct FakeEncoder final : MVAudioEncoderBase {
    ~FakeEncoder() override
    {
        if (worker.joinable())
            worker.join();
    }
    void setAttributes(const Record& given) override { values.merge(given); }
    Record attributes() const override { return values; }
    void encodeOnThreadFileOutputFile(const OpenedFile&, const SharedPlace&) override
    {
        worker = std::thread([this, held = delegate] { run(held); });
    }
    bool encodeFileOutputFile(const OpenedFile& input, const SharedPlace&) override
    {
        if (input.path().text() == "/fail") {
            delegate->delegateOfJob(*this)->encoderDidFailWithError(*this, { "MVAudioEncoderErrorDomain", 4 });
            return false;
        }
        return input.path().text() == "/two" ? runTwo() : run(delegate);
    }
    void setDelegate(std::shared_ptr<MVAudioEncoderDelegate> given) override { delegate = std::move(given); }

    bool runTwo()
    {
        auto first = delegate->delegateOfJob(*this);
        auto second = delegate->delegateOfJob(*this);
        first->encoderDidStart(*this);
        second->encoderDidStart(*this);
        first->encoderProgress(*this, 30);
        EXPECT_FALSE(second->shouldEncodeStop());
        EXPECT_TRUE(first->shouldEncodeStop());
        second->encoderProgress(*this, 31);
        second->encoderDidEnd(*this);
        return true;
    }
    bool run(const std::shared_ptr<MVAudioEncoderDelegate>& client)
    {
        if (!client)
            return true;
        auto held = client->delegateOfJob(*this);
        held->encoderDidStart(*this);
        for (int i = 1; i <= 10; ++i) {
            if (held->shouldEncodeStop())
                return true;
            held->encoderProgress(*this, static_cast<float>(i * 10));
        }
        held->encoderDidEnd(*this);
        return true;
    }

    Record values { { MVAudioEncoderBitrateAttribute, 192000 } };
    std::shared_ptr<MVAudioEncoderDelegate> delegate;
    std::thread worker;
};

struct Delegate {
    std::vector<std::string> messages;
    std::vector<std::string> senders;
    std::string failing;
    std::string hanging;
    bool stop = false;
    std::function<void(const std::string& sender)> onProgress; ///< called once, inside the message

    /// Notes the message; the answer is an error where the test asks for one.
    bool note(sd_bus_message* message, const std::string& text)
    {
        messages.push_back(text);
        senders.emplace_back(sd_bus_message_get_sender(message));
        return !failing.empty() && text.starts_with(failing);
    }
};

// No answer is sent, ever.
bool hangs(const Delegate& delegate)
{
    return !delegate.hanging.empty() && delegate.messages.back().starts_with(delegate.hanging);
}

int refuse(sd_bus_error* error) { return sd_bus_error_set(error, "org.example.No", "no"); }

int didStart(sd_bus_message* message, void* userdata, sd_bus_error* error)
{
    auto& delegate = *static_cast<Delegate*>(userdata);
    if (delegate.note(message, "start " + WireReader(message).objectPath()))
        return refuse(error);
    return sd_bus_reply_method_return(message, "");
}

int shouldStop(sd_bus_message* message, void* userdata, sd_bus_error* error)
{
    auto& delegate = *static_cast<Delegate*>(userdata);
    if (delegate.note(message, "stop?"))
        return refuse(error);
    if (hangs(delegate))
        return 1;
    return sd_bus_reply_method_return(message, "b", delegate.stop);
}

int progress(sd_bus_message* message, void* userdata, sd_bus_error* error)
{
    auto& delegate = *static_cast<Delegate*>(userdata);
    WireReader in(message);
    std::string encoder = in.objectPath();
    if (delegate.note(message, "progress " + encoder + " " + std::to_string(static_cast<int>(in.real()))))
        return refuse(error);
    if (hangs(delegate))
        return 1;
    if (auto call = std::exchange(delegate.onProgress, nullptr))
        call(delegate.senders.back());
    return sd_bus_reply_method_return(message, "");
}

int didFail(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    WireReader in(message);
    std::string encoder = in.objectPath();
    auto [domain, code] = in.stringAndInteger();
    static_cast<Delegate*>(userdata)->note(message, "fail " + encoder + " " + domain + " " + std::to_string(code));
    return sd_bus_reply_method_return(message, "");
}

int didEnd(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    static_cast<Delegate*>(userdata)->note(message, "end " + WireReader(message).objectPath());
    return sd_bus_reply_method_return(message, "");
}

constexpr const auto& DelegatePath = test::EncoderDelegateMembers<didStart, shouldStop, progress, didFail, didEnd>;

constexpr const char* Interface = "Mivo.MVAudioEncoderBase";

class AudioEncoderAdaptorTest : public test::AdaptorTest {
protected:
    explicit AudioEncoderAdaptorTest(std::uint64_t delegateTimeout = DelegateTimeoutMicroseconds)
    {
        serve(std::make_unique<AudioEncoderAdaptor>(std::make_unique<FakeEncoder>(), delegateTimeout));
        exportDelegate("/delegate", "Mivo.MVAudioEncoderDelegate", DelegatePath, &m_delegate);
        call(Interface, "setDelegate", [](WireWriter& out) { out.objectPath("/delegate"); });
    }
    ~AudioEncoderAdaptorTest() override { m_connection.reset(); }

    bool encode(const char* input = "/in")
    {
        auto answer = m_client.callAndServe(BusName, "/", Interface, "encodeFileOutputFile",
            [&](WireWriter& out) { out.string(input).string("/out"); });
        EXPECT_TRUE(answer.ok()) << answer.text;
        return answer.ok() && answer.reader().boolean();
    }

    bool startOnThread()
    {
        auto arguments = [](WireWriter& out) { out.string("/in").string("/out"); };
        return call(Interface, "encodeOnThreadFileOutputFile", arguments).ok();
    }

    Delegate m_delegate;
};

/// The encoder over a bus, watched for what goes on.
class WatchedEncoder : public testing::Test {
protected:
    void SetUp() override
    {
        m_connection = NSConnection::serviceConnectionWithName(
            "MivoFake_1.0", std::make_unique<AudioEncoderAdaptor>(std::make_unique<FakeEncoder>()), &m_activity);
        ASSERT_NE(m_connection, nullptr);
        m_connection->runInNewThread();
    }
    /// Calls from a client of its own; whether the service keeps something for it afterwards, and whether no longer
    /// when it has left.
    std::pair<bool, bool> keepsAfter(const char* member, const test::BusClient::Encode& arguments)
    {
        auto client = std::make_unique<test::BusClient>();
        EXPECT_TRUE(client->call("MivoFake_1._0", "/", Interface, member, arguments).ok());
        EXPECT_TRUE(test::eventually([&] { return !m_activity.isWorking(); }));
        bool keeps = !m_activity.idleSince();
        client.reset();
        return { keeps, test::eventually([&] { return m_activity.idleSince().has_value(); }) };
    }

    test::PrivateBus m_bus;
    Activity m_activity;
    std::unique_ptr<NSConnection> m_connection;
};

TEST_F(WatchedEncoder, AttributesAndADelegateAreKeptForTheirClientWhileItLives)
{
    std::pair keptWhileAlive { true, true };
    std::pair notKept { false, true };
    EXPECT_EQ(keepsAfter("setAttributes",
                  [](WireWriter& out) {
                      out.record({ { MVAudioEncoderBitrateAttribute, 1 } });
                  }),
        keptWhileAlive);
    EXPECT_EQ(keepsAfter("setDelegate", [](WireWriter& out) { out.objectPath("/delegate"); }), keptWhileAlive);
    EXPECT_EQ(keepsAfter("setDelegate", [](WireWriter& out) { out.objectPath("/"); }), notKept);
    EXPECT_EQ(keepsAfter("attributes", {}), notKept);
}

TEST_F(AudioEncoderAdaptorTest, AttributesMerge)
{
    call(Interface, "setAttributes", [](WireWriter& out) { out.record({ { MVAudioEncoderVBRAttribute, true } }); });
    Record attributes = call(Interface, "attributes").reader().record();
    EXPECT_EQ(attributes.integer("MVAudioEncoderBitrateAttribute"), 192000);
    EXPECT_EQ(attributes.boolean("MVAudioEncoderVBRAttribute"), true);
}

TEST_F(AudioEncoderAdaptorTest, EveryMessageInOrderWithTheEncoder)
{
    EXPECT_TRUE(encode());
    ASSERT_EQ(m_delegate.messages.size(), 22u);
    EXPECT_EQ(m_delegate.messages.front(), "start /");
    EXPECT_EQ(m_delegate.messages[1], "stop?");
    EXPECT_EQ(m_delegate.messages[2], "progress / 10");
    EXPECT_EQ(m_delegate.messages[20], "progress / 100");
    EXPECT_EQ(m_delegate.messages.back(), "end /");
    EXPECT_EQ(m_delegate.senders.front(), m_client.ownerOf(BusName)) << "on the service's own connection";
}

TEST_F(AudioEncoderAdaptorTest, AJobOnAThreadSpeaksFromAConnectionOfItsOwn)
{
    ASSERT_TRUE(startOnThread());
    m_client.serveUntil([&] { return m_delegate.messages.size() == 22; });
    ASSERT_EQ(m_delegate.messages.size(), 22u);
    EXPECT_EQ(m_delegate.messages.back(), "end /");
    EXPECT_NE(m_delegate.senders.front(), m_client.ownerOf(BusName));
}

TEST_F(AudioEncoderAdaptorTest, WhoeverSendsAJobsMessageAnswersAsTheEncoder)
{
    std::vector<std::string> answers;
    std::optional<std::int32_t> bitrate;
    m_delegate.onProgress = [&](const std::string& sender) {
        // Another connection of the client's: this one is in the middle of a message.
        test::BusClient other;
        auto ask = [&](const char* member, const test::BusClient::Encode& arguments = {},
                       const char* interface = Interface, const char* path = "/") {
            test::Answer answer = other.call(sender, path, interface, member, arguments);
            answers.push_back(answer.error);
            return answer;
        };
        auto attributes = ask("attributes");
        bitrate = attributes.ok() ? attributes.reader().record().integer("MVAudioEncoderBitrateAttribute") : 0;
        ask("attributes", {}, "");
        ask("setAttributes", [](WireWriter& out) { out.record({ { MVAudioEncoderVBRAttribute, true } }); });
        ask("Introspect", {}, "org.freedesktop.DBus.Introspectable");
        ask("attributes", {}, Interface, "/elsewhere");
    };
    ASSERT_TRUE(startOnThread());
    m_client.serveUntil([&] { return m_delegate.messages.size() == 22; });
    EXPECT_EQ(answers, (std::vector<std::string> { "", "", "", "", "org.freedesktop.DBus.Error.UnknownObject" }));
    EXPECT_EQ(bitrate, 192000);
    EXPECT_EQ(m_delegate.messages.back(), "end /");
    EXPECT_EQ(call(Interface, "attributes").reader().record().boolean("MVAudioEncoderVBRAttribute"), true);
}

TEST_F(AudioEncoderAdaptorTest, TheConnectionOfAJobEndsWithIt)
{
    ASSERT_TRUE(startOnThread());
    m_client.serveUntil([&] { return m_delegate.messages.size() == 22; });
    ASSERT_EQ(m_delegate.messages.size(), 22u);
    EXPECT_TRUE(m_client.waitForOwner(m_delegate.senders.front(), false));
}

TEST_F(AudioEncoderAdaptorTest, AJobThatLosesItsDelegateCancelsNoOtherOfTheSame)
{
    m_delegate.failing = "progress / 30";
    EXPECT_TRUE(encode("/two"));
    EXPECT_EQ(m_delegate.messages,
        (std::vector<std::string> { "start /", "start /", "progress / 30", "stop?", "progress / 31", "end /" }));
}

TEST_F(AudioEncoderAdaptorTest, ErrorsCarryDomainAndCode)
{
    EXPECT_FALSE(encode("/fail"));
    EXPECT_EQ(m_delegate.messages, std::vector<std::string> { "fail / MVAudioEncoderErrorDomain 4" });
}

TEST_F(AudioEncoderAdaptorTest, YesStops)
{
    m_delegate.stop = true;
    EXPECT_TRUE(encode());
    EXPECT_EQ(m_delegate.messages, (std::vector<std::string> { "start /", "stop?" }));
}

TEST_F(AudioEncoderAdaptorTest, AnyMessageThatFailsAsksToCancelAndTheDelegateIsNotAskedAgain)
{
    m_delegate.failing = "start";
    EXPECT_TRUE(encode());
    EXPECT_EQ(m_delegate.messages, std::vector<std::string> { "start /" });
    m_delegate.messages.clear();
    m_delegate.failing = "progress / 30";
    EXPECT_TRUE(encode()) << "the next job starts afresh";
    EXPECT_EQ(m_delegate.messages.back(), "progress / 30");
    m_delegate.messages.clear();
    m_delegate.failing = "stop?";
    EXPECT_TRUE(encode());
    EXPECT_EQ(m_delegate.messages.size(), 2u);
}

TEST_F(AudioEncoderAdaptorTest, ALostDelegateIsToldOfTheNextJobsFailure)
{
    m_delegate.failing = "progress / 30";
    EXPECT_TRUE(encode());
    m_delegate.messages.clear();
    EXPECT_FALSE(encode("/fail"));
    EXPECT_EQ(m_delegate.messages, std::vector<std::string> { "fail / MVAudioEncoderErrorDomain 4" });
}

/// Long enough for a client on a busy machine, short enough for a test.
class ImpatientAudioEncoderAdaptorTest : public AudioEncoderAdaptorTest {
protected:
    ImpatientAudioEncoderAdaptorTest()
        : AudioEncoderAdaptorTest(2'000'000)
    {
    }
};

TEST_F(ImpatientAudioEncoderAdaptorTest, AQuestionWithoutAnAnswerAsksToCancel)
{
    m_delegate.hanging = "stop?";
    EXPECT_TRUE(encode()) << "a cancelled job is no failure";
    EXPECT_EQ(m_delegate.messages, (std::vector<std::string> { "start /", "stop?" }));
    m_delegate.messages.clear();
    m_delegate.hanging.clear();
    EXPECT_TRUE(encode());
    EXPECT_EQ(m_delegate.messages.back(), "end /") << "the next job starts afresh";
}

TEST_F(ImpatientAudioEncoderAdaptorTest, AMessageWithoutAnAnswerAsksToCancelAndIsTheLast)
{
    m_delegate.hanging = "progress / 20";
    EXPECT_TRUE(encode());
    EXPECT_EQ(m_delegate.messages.back(), "progress / 20");
}

TEST_F(AudioEncoderAdaptorTest, WithoutADelegateAJobRunsInSilence)
{
    call(Interface, "setDelegate", [](WireWriter& out) { out.objectPath("/"); });
    EXPECT_TRUE(encode());
    EXPECT_TRUE(m_delegate.messages.empty());
}

} // namespace
} // namespace mv
