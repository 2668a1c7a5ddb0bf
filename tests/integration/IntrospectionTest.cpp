#include "tests/support/Introspection.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Places.h"

#include <regex>

namespace mv {
namespace {

struct Row {
    const char* service;
    std::vector<const char*> interfaces;
    const char* path = "/";
};

const std::vector<Row> Rows = {
    { "MivoAVParser_1._3._0._12062", { "Mivo.MVMediaInfoBuilder" } },
    { "MivoMP3Parser_1._3._0._12062", { "Mivo.MVMediaInfoBuilder" } },
    { "MivoImageParser_1._3._0._12062", { "Mivo.MVImageInfoBuilder", "Mivo.MVMediaInfoBuilder" } },
    { "MivoMediaTagUpdater_1._3._0._12062", { "Mivo.MVMediaTagBase" } },
    { "MivoMP4Exporter_1._3._0._12062", { "Mivo.MVMP4ExporterBase" } },
    { "MivoMP4Parser_1._3._0._12062", { "Mivo.MVMediaInfoBuilder" } },
    { "MivoExifExtractor_1._3._0._12062", { "Mivo.MVExifExtractorBase" } },
    { "MivoMp3Encoder_1._3._0._12062", { "Mivo.MVAudioEncoderBase" } },
    { "MivoBasicAudioParser_1._3._0._12062", { "Mivo.MVMediaInfoBuilder" } },
    { "Mivo.Media1", { "Mivo.Media1" }, "/Mivo/Media1" },
};

/// Each of our interfaces in an introspection document, by name.
std::map<std::string, std::string> interfacesIn(const std::string& document)
{
    std::map<std::string, std::string> found;
    std::regex element(R"re( <interface name="(Mivo\.\w+)">[\s\S]*? </interface>\n)re");
    for (std::sregex_iterator it(document.begin(), document.end(), element), end; it != end; ++it)
        found[it->str(1)] = it->str();
    return found;
}

std::string documented(const std::string& interface)
{
    Bytes file = test::readFile(test::sourcePath("service/include/dbus/" + interface + ".xml"));
    return interfacesIn(test::withoutDocumentation(std::string(charsOf(file))))[interface];
}

using Introspection = test::RunningService;

TEST_F(Introspection, EveryServiceSpeaksTheDocumentedInterfaces)
{
    for (const Row& row : Rows) {
        test::Answer answer = m_client.call(row.service, row.path, "org.freedesktop.DBus.Introspectable", "Introspect");
        ASSERT_TRUE(answer.ok()) << row.service;
        auto live = interfacesIn(answer.reader().string());
        ASSERT_EQ(live.size(), row.interfaces.size()) << row.service;
        for (const char* interface : row.interfaces)
            EXPECT_EQ(live[interface], documented(interface)) << row.service;
    }
}

} // namespace
} // namespace mv
