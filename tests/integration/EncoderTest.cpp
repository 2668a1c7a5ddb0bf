#include "service/include/MVAudioEncoderBase.h"
#include "tests/integration/RunningService.h"
#include "tests/support/EncoderDelegate.h"
#include "tests/support/ProcessTree.h"
#include "tests/support/WaveMaker.h"

#include <csignal>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

using namespace mv;
using namespace mv::test;

// Jobs of the MP3 encoder from end to end: file, process, bus, delegate.

namespace {

constexpr const char* Encoder = "MivoMp3Encoder_1._3._0._12062";
constexpr const char* Interface = "Mivo.MVAudioEncoderBase";

/// What a client hears of its jobs.
struct Heard {
    int starts = 0;
    int questions = 0;
    int percents = 0;
    int failures = 0;
    int errorCode = 0; ///< of the last failure
    int ends = 0;
    std::function<void(const std::string& sender)> onStart; ///< called once, inside the message
};

Heard& heardBy(void* userdata) { return *static_cast<Heard*>(userdata); }

int start(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    ++heardBy(userdata).starts;
    if (auto call = std::exchange(heardBy(userdata).onStart, nullptr))
        call(sd_bus_message_get_sender(message));
    return sd_bus_reply_method_return(message, "");
}
int question(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    ++heardBy(userdata).questions;
    return sd_bus_reply_method_return(message, "b", 0);
}
int percent(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    ++heardBy(userdata).percents;
    return sd_bus_reply_method_return(message, "");
}
int failure(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    ++heardBy(userdata).failures;
    const char* encoder = nullptr;
    const char* domain = nullptr;
    sd_bus_message_read(message, "o(si)", &encoder, &domain, &heardBy(userdata).errorCode);
    return sd_bus_reply_method_return(message, "");
}
int end(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    ++heardBy(userdata).ends;
    return sd_bus_reply_method_return(message, "");
}

constexpr const auto& DelegatePath = EncoderDelegateMembers<start, question, percent, failure, end>;

class EncoderOverTheBus : public RunningService {
protected:
    /// A stereo file of silence, so many blocks long.
    std::string silence(std::uint32_t blocks)
    {
        WaveMaker wave;
        wave.format(1, 2, 44100, 16).silence(std::size_t { blocks } * 1152 * 4);
        return scratch.write("in.wav", wave.bytes());
    }
    void serveDelegate(BusClient& client)
    {
        ASSERT_GE(sd_bus_add_object_vtable(
                      client.bus(), nullptr, "/delegate", "Mivo.MVAudioEncoderDelegate", DelegatePath, &heard),
            0);
        auto answer
            = client.call(Encoder, "/", Interface, "setDelegate", [](WireWriter& out) { out.objectPath("/delegate"); });
        ASSERT_TRUE(answer.ok()) << answer.text;
    }
    bool startOnThread(BusClient& client, const std::string& input)
    {
        return client
            .callAndServe(Encoder, "/", Interface, "encodeOnThreadFileOutputFile",
                [&](WireWriter& out) { out.string(input).string(output); })
            .ok();
    }
    bool outputIsThere() const { return access(output.c_str(), F_OK) == 0; }

    ScratchFolder scratch;
    std::string output = scratch.file("out.mp3");
    Heard heard;
};

} // namespace

TEST_F(EncoderOverTheBus, AJobFromEndToEnd)
{
    serveDelegate(m_client);
    std::string input = silence(250);
    auto answer = m_client.callAndServe(
        Encoder, "/", Interface, "encodeFileOutputFile", [&](WireWriter& out) { out.string(input).string(output); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_TRUE(answer.reader().boolean());
    EXPECT_EQ(heard.starts, 1);
    EXPECT_EQ(heard.questions, 251);
    EXPECT_EQ(heard.percents, 100);
    EXPECT_EQ(heard.failures, 0);
    EXPECT_EQ(heard.ends, 1);
    EXPECT_TRUE(outputIsThere());
}

TEST_F(EncoderOverTheBus, AFailureReachesTheDelegateAndTheCaller)
{
    serveDelegate(m_client);
    std::string input = scratch.file("missing.wav");
    auto answer = m_client.callAndServe(
        Encoder, "/", Interface, "encodeFileOutputFile", [&](WireWriter& out) { out.string(input).string(output); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_FALSE(answer.reader().boolean());
    EXPECT_EQ(heard.failures, 1);
    EXPECT_EQ(heard.starts, 0);
    EXPECT_EQ(heard.ends, 0);
}

TEST_F(EncoderOverTheBus, AReaderThatLeavesAPipeIsAFailureOfThatJobAlone)
{
    serveDelegate(m_client);
    std::string input = silence(10'000);
    std::string pipe = scratch.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    UniqueFd reader(open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    heard.onStart = [&](const std::string&) { reader.reset(); };
    auto encode = [&](const std::string& to) {
        auto answer = m_client.callAndServe(
            Encoder, "/", Interface, "encodeFileOutputFile", [&](WireWriter& out) { out.string(input).string(to); });
        return answer.ok() && answer.reader().boolean();
    };
    EXPECT_FALSE(encode(pipe));
    EXPECT_EQ(heard.failures, 1);
    EXPECT_EQ(heard.errorCode, 6);
    EXPECT_TRUE(encode(output)) << "the input is not to blame";
    EXPECT_EQ(heard.failures, 1);
}

TEST_F(EncoderOverTheBus, TheSenderOfAJobsMessageIsTheEncoder)
{
    serveDelegate(m_client);
    std::string input = silence(250);
    std::string second = scratch.file("second.mp3");
    std::optional<Record> attributes;
    bool encoded = false;
    heard.onStart = [&](const std::string& sender) {
        BusClient other;
        auto answer = other.call(sender, "/", Interface, "attributes");
        if (answer.ok())
            attributes = answer.reader().record();
        // A whole job inside the other's message, with no delegate that would have to be asked.
        other.call(sender, "/", Interface, "setDelegate", [](WireWriter& out) { out.objectPath("/"); });
        encoded = other
                      .call(sender, "/", Interface, "encodeFileOutputFile",
                          [&](WireWriter& out) { out.string(input).string(second); })
                      .ok();
    };
    ASSERT_TRUE(startOnThread(m_client, input));
    m_client.serveUntil([&] { return heard.ends > 0; });
    EXPECT_EQ(heard.ends, 1);
    ASSERT_TRUE(attributes.has_value());
    EXPECT_EQ(*attributes->string("_InputFile"), input);
    EXPECT_TRUE(encoded);
    EXPECT_TRUE(readFile(second) == readFile(output));
}

TEST_F(EncoderOverTheBus, AClientThatLeavesInMidJobCancelsIt)
{
    std::string input = silence(10'000);
    {
        BusClient leaving;
        serveDelegate(leaving);
        ASSERT_TRUE(startOnThread(leaving, input));
        leaving.serveUntil([&] { return heard.questions > 5; });
        ASSERT_GT(heard.questions, 5);
    }
    EXPECT_TRUE(eventually([&] { return !outputIsThere(); }));
    EXPECT_TRUE(m_client.call(Encoder, "/", Interface, "attributes").ok());
}

TEST_F(EncoderOverTheBus, AWorkerLostInMidJobFailsTheJobAlone)
{
    std::string input = silence(10'000);
    serveDelegate(m_client);
    ASSERT_TRUE(startOnThread(m_client, input));
    m_client.serveUntil([&] { return heard.questions > 5; });
    for (pid_t worker : childrenOf(m_service.pid()))
        kill(worker, SIGKILL);
    m_client.serveUntil([&] { return heard.failures > 0; });
    EXPECT_EQ(heard.errorCode, MVAudioEncoderErrorEncoder);
    EXPECT_EQ(heard.ends, 0);
    EXPECT_TRUE(outputIsThere()); // what a failed job has written stays

    input = silence(50);
    auto answer = m_client.callAndServe(
        Encoder, "/", Interface, "encodeFileOutputFile", [&](WireWriter& out) { out.string(input).string(output); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_TRUE(answer.reader().boolean());
    EXPECT_EQ(heard.ends, 1);
    EXPECT_EQ(heard.failures, 1);
}

TEST_F(EncoderOverTheBus, QuittingEndsAJobAndRemovesItsOutput)
{
    std::string input = silence(10'000);
    serveDelegate(m_client);
    ASSERT_TRUE(startOnThread(m_client, input));
    m_client.serveUntil([&] { return heard.questions > 5; });
    ASSERT_TRUE(quit());
    m_client.serveUntil([&] { return !m_service.running(); });
    EXPECT_EQ(m_service.waitForEnd(), 0);
    EXPECT_FALSE(outputIsThere());
    EXPECT_EQ(heard.ends, 0);
}
