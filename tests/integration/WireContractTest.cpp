#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "tests/integration/RunningService.h"
#include "tests/support/LeavingClient.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/WaveMaker.h"

namespace mv {
namespace {

using test::Answer;

class WireContract : public test::RunningService {
protected:
    Answer call(
        const char* service, const char* interface, const char* member, const test::BusClient::Encode& arguments = {})
    {
        return m_client.call(service, "/", interface, member, arguments);
    }
};

constexpr const char* Image = "MivoImageParser_1._3._0._12062";
constexpr const char* Exporter = "MivoMP4Exporter_1._3._0._12062";
constexpr const char* Encoder = "MivoMp3Encoder_1._3._0._12062";
constexpr const char* Updater = "MivoMediaTagUpdater_1._3._0._12062";
constexpr const char* Exif = "MivoExifExtractor_1._3._0._12062";

TEST_F(WireContract, NilIsAnEmptyArray)
{
    for (const char* service : { "MivoMP3Parser_1._3._0._12062", "MivoImageParser_1._3._0._12062",
             "MivoMP4Parser_1._3._0._12062", "MivoBasicAudioParser_1._3._0._12062" }) {
        auto record = m_client.build(service, "/no/such/file");
        ASSERT_TRUE(record.has_value()) << service;
        EXPECT_EQ(*record, std::nullopt) << service;
    }
}

TEST_F(WireContract, AnEmptyPathIsNil)
{
    for (std::string_view service : { "MivoMP3Parser_1._3._0._12062", "MivoImageParser_1._3._0._12062",
             "MivoMP4Parser_1._3._0._12062", "MivoBasicAudioParser_1._3._0._12062" }) {
        auto record = m_client.build(std::string(service), "");
        ASSERT_TRUE(record.has_value()) << service;
        EXPECT_EQ(*record, std::nullopt) << service;
    }
}

TEST_F(WireContract, WrongArgumentTypesAreInvalidArgs)
{
    Answer answer = call(Image, "Mivo.MVMediaInfoBuilder", "build", [](WireWriter& out) { out.integer(1); });
    EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
    answer = call(Image, "Mivo.MVImageInfoBuilder", "makeThumbnailWithMaxSize",
        [](WireWriter& out) { out.string("/x").real(1); });
    EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
    answer = call(Updater, "Mivo.MVMediaTagBase", "updateTagWithDictionary",
        [](WireWriter& out) { out.string("/x").string("y"); });
    EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
    answer = call(Exporter, "Mivo.MVMP4ExporterBase", "isAlacAudio");
    EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
    answer = call(Encoder, "Mivo.MVAudioEncoderBase", "setAttributes", [](WireWriter& out) { out.boolean(true); });
    EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.InvalidArgs");
}

// Legal text that the bus library does not read; nothing is wrong with its type.
TEST_F(WireContract, ANoncharacterIsSaidToBeOne)
{
    if (!test::haveProgram("dbus-send"))
        GTEST_SKIP() << "the program dbus-send is not installed";
    auto build = [](const std::string& argument) {
        return test::outputOf("dbus-send --session --print-reply --dest=" + std::string(Image)
            + " / Mivo.MVMediaInfoBuilder.build " + argument + " 2>&1 || true");
    };
    std::string answer = build("'string:/x\uFFFFy.jpg'");
    EXPECT_NE(answer.find("InvalidArgs"), std::string::npos) << answer;
    EXPECT_NE(answer.find("noncharacter"), std::string::npos) << answer;
    EXPECT_EQ(build("int32:1").find("noncharacter"), std::string::npos);
}

// The codes of QuickTime's formats of WAVE's numbers hold a zero byte, which no text on the bus may.
TEST_F(WireContract, ACodeThatIsNoTextCostsNoRecord)
{
    if (!test::haveProgram("ffmpeg"))
        GTEST_SKIP() << "the program ffmpeg is not installed";
    test::ScratchFolder folder;
    std::string path = folder.file("a.mov");
    test::outputOf("ffmpeg -nostdin -v error -f lavfi -i testsrc2=size=64x48:rate=25:duration=0.4 -f lavfi "
                   "-i sine=duration=0.4 -c:v mpeg4 -c:a adpcm_ms "
        + path + " 2>&1");
    auto record = m_client.build("MivoAVParser_1._3._0._12062", path);
    ASSERT_TRUE(record && *record) << m_service.log();
    const std::string* codec = (*record)->string(MediaDBVideoColumnACodec);
    ASSERT_TRUE(codec);
    EXPECT_EQ(*codec, "MS\uFFFD\x02");
    EXPECT_TRUE((*record)->contains(MediaDBVideoColumnImage));
}

/// A record with a title, and under other keys what no rule has a use for.
void appendOddRecord(sd_bus_message* message)
{
    sd_bus_message_open_container(message, 'a', "{sv}");
    sd_bus_message_append(message, "{sv}", "MediaType", "i", MVMediaTypeMP3);
    sd_bus_message_append(message, "{sv}", "AlbumArt", "as", 1, "cover.jpg");
    sd_bus_message_append(message, "{sv}", "Artist", "a{sv}", 1, "name", "s", "nested");
    sd_bus_message_append(message, "{sv}", "TrackNo", "(ii)", 3, 12);
    sd_bus_message_append(message, "{sv}", "nobody reads this", "av", 2, "s", "x", "(ayg)", 2, 1, 2, "as");
    sd_bus_message_append(message, "{sv}", "Title", "s", "written");
    sd_bus_message_close_container(message);
}

TEST_F(WireContract, ValuesOfOtherKindsNeverStopTheRest)
{
    test::ScratchFolder folder;
    std::string artist("\0was here", 9);
    std::string track("\0"
                      "7",
        2);
    std::string song = folder.write("song.mp3",
        test::id3Tag(3, test::id3Frame(3, "TPE1", artist) + test::id3Frame(3, "TRCK", track)) + test::mpegFrames(20));
    sd_bus_message* made = nullptr;
    sd_bus_message_new_method_call(
        m_client.bus(), &made, Updater, "/", "Mivo.MVMediaTagBase", "updateTagWithDictionary");
    BusMessage request(made);
    sd_bus_message_append(made, "s", song.c_str());
    appendOddRecord(made);
    BusErrorHolder error;
    sd_bus_message* answered = nullptr;
    sd_bus_call(m_client.bus(), made, 0, error.get(), &answered);
    BusMessage answer(answered);
    ASSERT_TRUE(answer) << error.name() << ": " << error.message();
    EXPECT_TRUE(WireReader(answered).boolean());
    auto record = m_client.build("MivoMP3Parser_1._3._0._12062", song);
    ASSERT_TRUE(record && *record);
    EXPECT_EQ((*record)->find("Title")->storage(), Value("written").storage());
    EXPECT_EQ((*record)->find("Artist")->storage(), Value("was here").storage());
    EXPECT_EQ((*record)->integer("TrackNo"), 7);
}

TEST_F(WireContract, EncoderAttributesOfOtherKindsAreIgnored)
{
    sd_bus_message* made = nullptr;
    sd_bus_message_new_method_call(m_client.bus(), &made, Encoder, "/", "Mivo.MVAudioEncoderBase", "setAttributes");
    BusMessage request(made);
    sd_bus_message_append(made, "a{sv}", 3, "MVAudioEncoderBitrateAttribute", "ai", 1, 64000, "own", "(s)", "x",
        "MVAudioEncoderVBRAttribute", "b", 1);
    BusErrorHolder error;
    sd_bus_message* answered = nullptr;
    ASSERT_GE(sd_bus_call(m_client.bus(), made, 0, error.get(), &answered), 0) << error.message();
    BusMessage holder(answered);
    Answer answer = call(Encoder, "Mivo.MVAudioEncoderBase", "attributes");
    ASSERT_TRUE(answer.ok()) << answer.text;
    Record attributes = answer.reader().record();
    EXPECT_EQ(attributes.integer("MVAudioEncoderBitrateAttribute"), 192000);
    EXPECT_EQ(attributes.boolean("MVAudioEncoderVBRAttribute"), true);
    EXPECT_FALSE(attributes.contains("own"));
}

TEST_F(WireContract, NoExifIsTheNilObject)
{
    Answer answer
        = call(Exif, "Mivo.MVExifExtractorBase", "extractExif", [](WireWriter& out) { out.string("/no/such/file"); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.reader().objectPath(), "/");
}

/// A client that keeps the encoder busy: in the middle of a call it waits for an answer of its delegate that never
/// comes.
class BusyEncoder {
public:
    explicit BusyEncoder(const std::string& input)
    {
        auto sent = send("setDelegate", "o", "/delegate");
        auto job = send("encodeFileOutputFile", "ss", input.c_str(), m_folder.file("out.mp3").c_str());
        EXPECT_GE(sd_bus_send(m_client.bus(), sent.get(), nullptr), 0);
        EXPECT_TRUE(m_client.sendUntilAsked(job.get()));
    }
    bool isOver() { return m_client.isAnswered(); }

private:
    template <class... Arguments> BusMessage send(const char* member, const char* signature, Arguments... arguments)
    {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_method_call(m_client.bus(), &made, Encoder, "/", "Mivo.MVAudioEncoderBase", member);
        sd_bus_message_append(made, signature, arguments...);
        return BusMessage(made);
    }

    test::ScratchFolder m_folder;
    test::LeavingClient m_client { "/delegate", "Mivo.MVAudioEncoderDelegate" };
};

TEST_F(WireContract, ServicesAnswerInParallel)
{
    test::ScratchFolder folder;
    test::WaveMaker wave;
    wave.format(1, 2, 44100, 16).silence(1152 * 4);
    std::string input = folder.write("in.wav", wave.bytes());
    auto path = [&](WireWriter& out) { out.string(input); };
    // Services that share a thread answer only when the encoder has given its client up, each time anew. A machine that
    // stands still for that minute can do the same, once.
    bool answeredMeanwhile = false;
    for (int i = 0; i < 2 && !answeredMeanwhile; ++i) {
        BusyEncoder encoder(input);
        for (std::string_view service : test::kServiceBusNames) {
            if (service == Encoder)
                continue;
            Answer answer = call(std::string(service).c_str(), "org.freedesktop.DBus.Introspectable", "Introspect");
            EXPECT_TRUE(answer.ok()) << service << ": " << answer.text;
        }
        EXPECT_TRUE(m_client.build(std::string(test::kServiceBusNames[0]), input)) << "with a hop to the main thread";
        EXPECT_TRUE(call(Exporter, "Mivo.MVMP4ExporterBase", "isAlacAudio", path).ok());
        EXPECT_TRUE(call(Updater, "Mivo.MVMediaTagBase", "podcastInfo", path).ok());
        answeredMeanwhile = !encoder.isOver();
    }
    EXPECT_TRUE(answeredMeanwhile);
}

} // namespace
} // namespace mv
