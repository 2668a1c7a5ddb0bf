#include "service/host/Services.h"

#include "bus/BusName.h"
#include "service/include/ServiceNames.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

namespace mv {
namespace {

struct Row {
    const char* name;
    const char* text;
};

constexpr Row Rows[] = {
    { "MivoAVParser_1.3.0.12062", "failed to register Mivo AV Parser" },
    { "MivoMP3Parser_1.3.0.12062", "failed to register Mivo MP3 Parser" },
    { "MivoImageParser_1.3.0.12062", "failed to register Mivo Image Parser" },
    { "MivoMediaTagUpdater_1.3.0.12062", "failed to register Mivo Media Tag Updater" },
    { "MivoMP4Exporter_1.3.0.12062", "failed to register Mivo MP4 Exporter" },
    { "MivoMP4Parser_1.3.0.12062", "failed to register Mivo MP4 Parser" },
    { "MivoExifExtractor_1.3.0.12062", "failed to register Mivo Exif Extractor" },
    { "MivoMp3Encoder_1.3.0.12062", "failed to register Mivo MP3 Encoder" },
    { "MivoBasicAudioParser_1.3.0.12062", "failed to register Mivo basicaudio parser" },
};

TEST(Services, NineInTheirOrderWithTheirTexts)
{
    WorkerHost workers("no program");
    std::vector<ServiceRow> rows = services(workers);
    std::erase_if(rows, [](const ServiceRow& row) { return !row.isNeeded; });
    ASSERT_EQ(rows.size(), std::size(Rows));
    ASSERT_EQ(rows.size(), ServiceNames.size());
    for (std::size_t i = 0; i < std::size(Rows); ++i) {
        EXPECT_EQ(rows[i].name, Rows[i].name);
        EXPECT_EQ(rows[i].name, ServiceNames[i]);
        EXPECT_STREQ(rows[i].failureText, Rows[i].text);
    }
}

TEST(Services, TheInterfaceForNewProgramsStandsBeforeTheLastOfThem)
{
    WorkerHost workers("no program");
    std::vector<ServiceRow> rows = services(workers);
    ASSERT_EQ(rows.size(), ServiceNames.size() + 1);
    const ServiceRow& row = rows[rows.size() - 2];
    EXPECT_EQ(row.name, "Mivo.Media1");
    EXPECT_FALSE(row.isNeeded) << "the nine are served without it";
    EXPECT_STREQ(row.makeRoot()->rootPath(), "/Mivo/Media1");
}

TEST(Services, EveryNameIsALegalBusName)
{
    WorkerHost workers("no program");
    for (const ServiceRow& row : services(workers)) {
        std::string name = busNameForService(row.name);
        EXPECT_TRUE(sd_bus_service_name_is_valid(name.c_str())) << name;
    }
    EXPECT_EQ(busNameForService("MivoMP3Parser_1.3.0.12062"), "MivoMP3Parser_1._3._0._12062");
}

} // namespace
} // namespace mv
