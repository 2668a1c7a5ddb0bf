#include "Base/Core/NSException.h"
#include "service/encoder/MP3Encoder.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <future>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace mv {
namespace {

/// Writes down what the client hears.
class Client final : public MVAudioEncoderDelegate {
public:
    bool stop = false;
    std::vector<std::string> messages;

    void encoderDidStart(MVAudioEncoderBase&) override { messages.push_back("start"); }
    bool shouldEncodeStop() override { return stop; }
    void encoderProgress(MVAudioEncoderBase&, float percent) override
    {
        messages.push_back(std::to_string(static_cast<int>(percent)));
    }
    void encoderDidFailWithError(MVAudioEncoderBase&, const NSError& error) override
    {
        messages.push_back(error.domain + " " + std::to_string(error.code));
    }
    void encoderDidEnd(MVAudioEncoderBase&) override { messages.push_back("end"); }
};

class MP3EncoderRunTest : public testing::Test {
protected:
    bool encode(MP3Encoder& encoder) { return encoder.encodeFileOutputFile(OpenedFile::at(m_input), m_output); }

    test::ScratchFolder m_scratch;
    std::string m_input = m_scratch.write("in.wav", "sound");
    SharedPlace m_output = OutputPlace::at(m_scratch.file("out.mp3"));
    std::shared_ptr<Client> m_client = std::make_shared<Client>();
};

TEST_F(MP3EncoderRunTest, TheRunGetsFilesAndTheAttributesOfThatMoment)
{
    std::vector<std::int32_t> rates;
    MP3Encoder encoder([&](const Record& attributes, EncodingListener&, const OpenedFile& input, OutputPlace& output) {
        rates.push_back(attributes.integer(MVAudioEncoderBitrateAttribute).value_or(0));
        EXPECT_EQ(attributes.integer(MVMP3EncoderStereoModeAttribte), 2);
        EXPECT_EQ(attributes.integer(MVMP3EncoderQualityAttribute), 1);
        EXPECT_EQ(input.path(), Path(m_input));
        EXPECT_EQ(&output, m_output.get());
        encoder.setAttributes({ { MVAudioEncoderBitrateAttribute, 64000 } });
        EXPECT_EQ(attributes.integer(MVAudioEncoderBitrateAttribute), rates.back()) << "a copy";
        return true;
    });
    EXPECT_TRUE(encode(encoder));
    EXPECT_TRUE(encode(encoder));
    EXPECT_THAT(rates, testing::ElementsAre(192000, 64000));
}

TEST_F(MP3EncoderRunTest, TheClientHearsWhatTheRunSays)
{
    MP3Encoder encoder([&](const Record&, EncodingListener& listener, const OpenedFile&, OutputPlace&) {
        listener.started();
        EXPECT_FALSE(listener.shouldStop());
        m_client->stop = true;
        EXPECT_TRUE(listener.shouldStop());
        listener.progress(50);
        listener.ended();
        listener.failed(MVAudioEncoderErrorEncoder);
        return false;
    });
    encoder.setDelegate(m_client);
    EXPECT_FALSE(encode(encoder));
    EXPECT_THAT(m_client->messages, testing::ElementsAre("start", "50", "end", "MVAudioEncoderErrorDomain 7"));
}

TEST_F(MP3EncoderRunTest, WithoutAClientNothingIsAsked)
{
    MP3Encoder encoder([&](const Record&, EncodingListener& listener, const OpenedFile&, OutputPlace&) {
        listener.started();
        EXPECT_FALSE(listener.shouldStop());
        listener.progress(100);
        listener.ended();
        return true;
    });
    EXPECT_TRUE(encode(encoder));
}

TEST_F(MP3EncoderRunTest, AnExceptionOfTheRunIsTheCallersOrOneLine)
{
    MP3Encoder encoder([](const Record&, EncodingListener&, const OpenedFile&, OutputPlace&) -> bool {
        throw std::runtime_error("no worker");
    });
    EXPECT_THROW(encode(encoder), std::runtime_error);
    test::LogCapture log;
    encoder.putDown(OpenedFile::at(m_input), m_output);
    encoder.encodeThread();
    EXPECT_THAT(log.lines(),
        testing::ElementsAre(testing::HasSubstr("Terminating encoding thread due to uncaught exception: no worker")));
}

TEST_F(MP3EncoderRunTest, AnEncoderThatGoesAwayAsksItsRunsToStopAndWaits)
{
    std::promise<void> begun;
    bool asked = false;
    {
        MP3Encoder encoder([&](const Record&, EncodingListener& listener, const OpenedFile&, OutputPlace&) {
            begun.set_value();
            while (!listener.shouldStop())
                std::this_thread::yield();
            asked = true;
            return true;
        });
        encoder.encodeOnThreadFileOutputFile(OpenedFile::at(m_input), m_output);
        begun.get_future().wait();
    }
    EXPECT_TRUE(asked);
}

} // namespace
} // namespace mv
