// What the running service answers, against docs/records.md, docs/operations.md and docs/dbus.md.
#include "tests/integration/RunningService.h"
#include "tests/support/Corpus.h"
#include "tests/support/Places.h"

#include <gmock/gmock.h>
#include <map>
#include <set>
#include <sstream>

namespace mv {
namespace {

using Cells = std::vector<std::string>;

std::string trimmed(const std::string& text)
{
    auto begin = text.find_first_not_of(" `");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" `") + 1 - begin);
}

Cells cellsOf(const std::string& line)
{
    Cells cells;
    std::istringstream in(line.substr(1));
    for (std::string cell; std::getline(in, cell, '|');)
        cells.push_back(trimmed(cell));
    return cells;
}

/// The table below the heading that begins so, by its first column; the headings of its columns are a row like others.
std::map<std::string, Cells> table(const std::string& page, const std::string& heading)
{
    std::istringstream lines(std::string(charsOf(test::readFile(test::sourcePath("docs/" + page)))));
    std::map<std::string, Cells> rows;
    bool isThere = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("## "))
            isThere = line.starts_with("## " + heading);
        else if (isThere && line.starts_with("| "))
            rows[cellsOf(line).front()] = cellsOf(line);
    }
    return rows;
}

/// A reader keeps small integers in the same kind, whatever their width on the bus.
std::string busType(const Value& value)
{
    constexpr const char* Types[] = { "g", "b", "i", "i", "d", "s", "(x)", "ay", "?" };
    return Types[value.storage().index()];
}

struct Described {
    const char* service;
    const char* heading;
    std::vector<const char*> folders; ///< of the corpus
};

void PrintTo(const Described& row, std::ostream* out) { *out << row.heading; }

class ReferencePages : public test::RunningService { };
class RecordsPage : public ReferencePages, public testing::WithParamInterface<Described> { };

TEST_P(RecordsPage, HasTheKeysOfRealFilesWithTheirTypes)
{
    MV_NEEDS_CORPUS();
    auto rows = table("records.md", GetParam().heading);
    ASSERT_GT(rows.size(), 15u);
    std::set<std::string> seen { "key" };
    for (const char* folder : GetParam().folders) {
        for (const std::string& name : test::corpusFiles(folder)) {
            auto record = m_client.build(GetParam().service, test::corpusFile(name));
            if (!record || !*record)
                continue;
            for (const auto& [key, value] : **record) {
                ASSERT_TRUE(rows.contains(key)) << name << " has " << key;
                EXPECT_EQ(busType(value), rows[key][1] == "x" ? "i" : rows[key][1]) << name << " " << key;
                seen.insert(key);
            }
            for (const auto& [key, cells] : rows) {
                EXPECT_TRUE(cells[2] != "always" || (*record)->contains(key)) << name << " lacks " << key;
            }
        }
    }
    for (const auto& [key, cells] : rows)
        EXPECT_TRUE(seen.contains(key)) << "no file has " << key;
}

INSTANTIATE_TEST_SUITE_P(Service, RecordsPage,
    testing::Values(Described { "MivoMP3Parser_1._3._0._12062", "Songs", { "mp3" } },
        Described { "MivoMP4Parser_1._3._0._12062", "MPEG-4 songs", { "mp4" } },
        Described { "MivoBasicAudioParser_1._3._0._12062", "FLAC and Ogg", { "audio" } },
        Described { "MivoAVParser_1._3._0._12062", "Movies", { "audio", "video" } },
        Described { "MivoImageParser_1._3._0._12062", "Pictures", { "image" } }));

TEST_F(ReferencePages, EncoderHasTheAttributesAndDefaultsOfItsPage)
{
    auto rows = table("operations.md", "Attributes of the encoder");
    auto answer = m_client.call("MivoMp3Encoder_1._3._0._12062", "/", "Mivo.MVAudioEncoderBase", "attributes");
    ASSERT_TRUE(answer.ok()) << answer.text;
    const Record attributes = answer.reader().record();
    rows.erase("key");
    for (const auto& [key, cells] : rows) {
        const Value* value = attributes.find(key);
        EXPECT_EQ(value != nullptr, cells[2] != "absent") << key;
        if (!value)
            continue;
        EXPECT_EQ(busType(*value), cells[1]) << key;
        std::string text
            = value->boolean() ? (*value->boolean() ? "true" : "false") : std::to_string(*value->integerValue());
        EXPECT_EQ(text, cells[2]) << key;
    }
    for (const auto& [key, value] : attributes)
        EXPECT_TRUE(rows.contains(key)) << key;
}

TEST_F(ReferencePages, EveryNameHasTheInterfacesOfItsRow)
{
    auto rows = table("dbus.md", "Names");
    rows.erase("bus name");
    ASSERT_EQ(rows.size(), 9u);
    for (const auto& [name, cells] : rows) {
        auto answer = m_client.call(name, "/", "org.freedesktop.DBus.Introspectable", "Introspect");
        ASSERT_TRUE(answer.ok()) << name;
        const std::string document = answer.reader().string();
        for (const char* interface : { "MVMediaInfoBuilder", "MVImageInfoBuilder", "MVMediaTagBase",
                 "MVMP4ExporterBase", "MVExifExtractorBase", "MVAudioEncoderBase" }) {
            std::string full = std::string("Mivo.") + interface;
            EXPECT_EQ(document.find('"' + full + '"') != std::string::npos, cells[1].find(full) != std::string::npos)
                << name << " " << full;
        }
    }
}

} // namespace
} // namespace mv
