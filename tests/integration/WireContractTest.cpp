#include "tests/integration/RunningService.h"

#include <thread>

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

TEST_F(WireContract, NoExifIsTheNilObject)
{
    Answer answer
        = call(Exif, "Mivo.MVExifExtractorBase", "extractExif", [](WireWriter& out) { out.string("/no/such/file"); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.reader().objectPath(), "/");
}

TEST_F(WireContract, ServicesAnswerInParallel)
{
    // One client keeps a service busy, another is answered by the next service meanwhile.
    std::vector<std::thread> clients;
    for (std::string_view name : { test::kServiceBusNames[1], test::kServiceBusNames[2], test::kServiceBusNames[5] }) {
        clients.emplace_back([name] {
            test::BusClient client;
            for (int i = 0; i < 200; ++i)
                ASSERT_TRUE(client.build(std::string(name), "/no/such/file").has_value());
        });
    }
    for (auto& client : clients)
        client.join();
    EXPECT_TRUE(m_service.running());
}

} // namespace
} // namespace mv
