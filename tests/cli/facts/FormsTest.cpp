#include "cli/facts/FactForms.h"
#include "cli/facts/FactTable.h"
#include "tests/cli/facts/Songs.h"

#include <gmock/gmock.h>

namespace mv::cli {
namespace {

FactFields fields(const char* names) { return *fieldsFrom(names); }

TEST(FactForms, JsonHasWholeKeysAndTheContractsTypes)
{
    FactWriter lines({ .form = FactForm::JsonLines });
    EXPECT_EQ(lines.item(aSong()),
        "{\"path\":\"a.mp3\",\"mivo:kind\":\"audio\",\"mivo:mimeType\":\"audio/mpeg\","
        "\"xesam:url\":\"file:///music/a.mp3\",\"mivo:size\":4200000,\"mivo:modified\":1767225600000000,"
        "\"mpris:length\":185300000,\"xesam:title\":\"Don't\",\"xesam:artist\":[\"AC/DC\",\"Motörhead\"],"
        "\"xesam:trackNumber\":4,\"mivo:trackTotal\":12,\"xesam:contentCreated\":\"2010-05-04\","
        "\"mivo:compilation\":false,\"mivo:hasPicture\":true,\"mivo:audioCodec\":\"mp3\",\"mivo:sampleRate\":44100,"
        "\"mivo:channels\":2,\"mivo:bitrate\":192000}\n");
    EXPECT_EQ(lines.begin() + lines.between() + lines.end(), "");
    FactWriter chosen({ .form = FactForm::JsonLines, .fields = fields("latitude,title,exposureTime") });
    EXPECT_EQ(chosen.item(aPhoto()), "{\"path\":\"p.jpg\",\"mivo:latitude\":-33.856784,\"mivo:exposureTime\":0.004}\n");
}

TEST(FactForms, AListIsOneJsonDocument)
{
    FactWriter list({ .form = FactForm::Json, .fields = fields("track") });
    EXPECT_EQ(list.begin() + list.item(aSong()) + list.between() + list.failure("x", { "is gone", "A.B" }) + list.end(),
        "[\n{\"path\":\"a.mp3\",\"xesam:trackNumber\":4},\n"
        "{\"path\":\"x\",\"error\":\"is gone\",\"mivo:error\":\"A.B\"}\n]\n");
}

TEST(FactForms, FailuresAreObjectsInJsonAlone)
{
    for (FactForm form : { FactForm::Text, FactForm::Csv, FactForm::Tsv })
        EXPECT_EQ(FactWriter({ .form = form }).failure("x", { "is gone" }), "");
    EXPECT_EQ(FactWriter({ .form = FactForm::JsonLines }).failure("x\xff", { "is gone" }),
        "{\"path\":\"x\xef\xbf\xbd\",\"error\":\"is gone\"}\n");
}

TEST(FactForms, TablesHaveHeadsAndStableColumns)
{
    FactWriter whole({ .form = FactForm::Csv });
    EXPECT_THAT(whole.begin(), testing::StartsWith("path,kind,mimeType,url,size,modified,length,title,album,artist,"));
    auto cells = [](const std::string& line) { return std::count(line.begin(), line.end(), ','); };
    EXPECT_EQ(cells(whole.begin()), static_cast<long>(FactRows.size()));
    EXPECT_EQ(cells(whole.item(aPhoto())), cells(whole.begin()));
    FactWriter named({ .form = FactForm::Csv, .fields = fields("track,artist"), .heads = { "track", "xesam:artist" } });
    EXPECT_EQ(named.begin(), "track,xesam:artist\r\n");
    EXPECT_EQ(named.item(aSong()), "4,AC/DC; Motörhead\r\n");
    EXPECT_EQ(named.item(aPhoto()), ",\r\n");
    FactWriter tabs({ .form = FactForm::Tsv, .fields = fields("path,length,hasPicture,fNumber") });
    EXPECT_EQ(tabs.begin() + tabs.item(aSong()) + tabs.item(aPhoto()),
        "path\tlength\thasPicture\tfNumber\na.mp3\t185300000\ttrue\t\np.jpg\t\t\t2.8\n");
}

TEST(FactTable, CsvQuotesWhatNeedsIt)
{
    auto line = CsvLine().add("a").add("").add("b,c").add("say \"x\"").add("two\nlines").add(" x").add("x ").add("'y'");
    EXPECT_EQ(line.end(), "a,,\"b,c\",\"say \"\"x\"\"\",\"two\nlines\",\" x\",\"x \",'y'\r\n");
    EXPECT_EQ(CsvLine().add("").add("").end(), ",\r\n");
    EXPECT_EQ(TsvLine().add("a\tb\nc\rd\\e").add("\"f\"").end(), "a\\tb\\nc\\rd\\\\e\t\"f\"\n");
}

TEST(FactTable, FormulasOnlyWhereTheyAreWanted)
{
    Facts facts;
    facts.set(fact::Title, std::string("=1+1"));
    facts.set(fact::Latitude, -33.5);
    DescribedFile file("@x", facts);
    FactWriter plain({ .form = FactForm::Csv, .fields = fields("path,title,latitude") });
    EXPECT_EQ(plain.item(file), "@x,=1+1,-33.5\r\n");
    FactWriter safe({ .form = FactForm::Csv, .fields = fields("path,title,latitude"), .formulaSafe = true });
    EXPECT_EQ(safe.item(file), "'@x,'=1+1,-33.5\r\n");
    for (const char* text : { "=a", "+a", "-a", "@a", "\ta", "\ra" })
        EXPECT_EQ(withoutFormula(text), std::string("'") + text);
    EXPECT_EQ(withoutFormula("a=b"), "a=b");
    EXPECT_EQ(withoutFormula(""), "");
}

TEST(FactTable, ATerminalGetsNoCommands)
{
    Facts facts;
    facts.set(fact::Title, std::string("a\033[31m\u009b1m"));
    DescribedFile file("x", facts);
    FactWriter plain({ .form = FactForm::Csv, .fields = fields("path,title") });
    EXPECT_EQ(plain.item(file), "x,a\033[31m\u009b1m\r\n") << "a file has what the tag has";
    FactWriter shown({ .form = FactForm::Csv, .fields = fields("path,title"), .forTerminal = true });
    EXPECT_EQ(shown.item(file), "x,a\\x1b[31m\\xc2\\x9b1m\r\n");
    facts.set(fact::Title, std::string("a\nb\tc"));
    FactWriter tabs({ .form = FactForm::Tsv, .fields = fields("title"), .forTerminal = true });
    EXPECT_EQ(tabs.item(DescribedFile("x", facts)), "a\\nb\\tc\n") << "as a file has it";
}

} // namespace
} // namespace mv::cli
