#include "service/media1/HostFacts.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace std::string_literals;

Facts someFacts()
{
    Facts facts;
    facts.set(fact::Kind, "audio"s);
    facts.set(fact::MimeType, "audio/flac"s);
    facts.set(fact::Title, "A title"s);
    return facts;
}

TEST(HostFacts, FactsOfAFileAreTaken) { EXPECT_TRUE(checkFacts(someFacts()).ok()); }

TEST(HostFacts, AWorkerDoesNotSayWhereAFileIs)
{
    Facts facts = someFacts();
    facts.set(fact::Url, "file:///etc/passwd"s);
    EXPECT_FALSE(checkFacts(facts).ok());
}

TEST(HostFacts, EveryFileIsOfAKindAndType)
{
    Facts facts;
    EXPECT_FALSE(checkFacts(facts).ok());
    facts.set(fact::Kind, "audio"s);
    EXPECT_FALSE(checkFacts(facts).ok());
    facts.set(fact::MimeType, "audio/flac"s);
    EXPECT_TRUE(checkFacts(facts).ok());
}

TEST(HostFacts, TheHostsAreSet)
{
    test::ScratchFolder folder;
    std::string path = folder.write("a b;c", "12345");
    OpenedFile file = OpenedFile::at(path);
    Facts facts = someFacts();
    facts.set(fact::Size, std::uint64_t { 7 });
    setHostFacts(facts, file, true);
    EXPECT_EQ(*facts.get<std::string>(fact::Url), "file://" + folder.path() + "/a%20b%3Bc");
    EXPECT_EQ(*facts.get<std::uint64_t>(fact::Size), 5u);
    EXPECT_EQ(*facts.get<std::int64_t>(fact::Modified), file.attributes()->modificationDate.microseconds);
    Facts ofHandle = someFacts();
    setHostFacts(ofHandle, file, false);
    EXPECT_FALSE(ofHandle.contains(fact::Url));
}

} // namespace
} // namespace mv
