// What an edit is made from, and what its check refuses.
#include "mp4/FrontEdit.h"
#include "system/OpenedFile.h"
#include "tests/mp4/EditedFile.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace mv {
namespace {

using namespace test;

MP4Tags tagsOf(const std::string& path)
{
    return tagsFromItems(MP4Read(OpenedFile::at(path).content()).value().items());
}

TEST(Edit, ThatChangesNothingWritesNothing)
{
    ScratchFolder folder;
    std::string path = folder.write("song.m4a", ByteView(makeMp4(namedSpec()).bytes));
    struct stat before { };
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    EXPECT_EQ(editTags(path, [](MP4Tags&) {}).value(), FileReplacement::Outcome::Unchanged);
    struct stat after { };
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST(Edit, ASecondOneStartsFromTheFirst)
{
    ScratchFolder folder;
    std::string path = folder.write("song.m4a", ByteView(makeMp4(namedSpec()).bytes));
    ASSERT_TRUE(editTags(path, [](MP4Tags& tags) { MP4TagsSetAlbum(tags, "album"); }).ok());
    ASSERT_TRUE(editTags(path, [](MP4Tags& tags) { MP4TagsSetGenre(tags, "Rock"); }).ok());
    EXPECT_EQ(tagsOf(path).album, "album");
    EXPECT_EQ(tagsOf(path).genre, "Rock");
    EXPECT_EQ(tagsOf(path).artist, "artist");
}

/// An edit that moved the media, and what was made of it.
struct Moved {
    Moved()
    {
        Mp4Spec spec = namedSpec();
        spec.behind = bytes("no box");
        spec.tracks.push_back({ .id = 2 });
        Bytes source = makeMp4(spec).bytes;
        made = performed(edit.plan(StructureReader(ByteView(source))).value().value(), source);
    }
    std::string answer() const
    {
        auto checked = edit.check(StructureReader(ByteView(made)));
        return checked.ok() ? "" : checked.error().text;
    }
    std::uint8_t& byteBehind(std::string_view mark, std::size_t distance)
    {
        return made.at(charsOf(made).rfind(mark) + distance);
    }

    MetadataEdit edit = renaming(std::string(500, 'n'));
    Bytes made;
};

TEST(EditCheck, WhatWasPlannedPasses) { EXPECT_EQ(Moved().answer(), ""); }

TEST(EditCheck, SamplesMayNotLieElsewhere)
{
    constexpr std::size_t FirstOffset = 12; // behind the type, the version and the count
    Moved moved;
    moved.byteBehind("stco", FirstOffset + 3)++;
    EXPECT_EQ(moved.answer(), "the edited file lost its samples");
    Moved inFront;
    std::fill_n(&inFront.byteBehind("stco", FirstOffset), 4, std::uint8_t { 0 });
    EXPECT_EQ(inFront.answer(), "the edited file lost its samples");
}

TEST(EditCheck, SamplesMayNotBeLongerOrMore)
{
    constexpr std::size_t Count = 12; // behind the type, the version and the common size
    Moved shorter;
    shorter.byteBehind("stsz", Count + 4 + 3)--;
    EXPECT_EQ(shorter.answer(), "the edited file lost its samples");
    Moved fewer;
    fewer.byteBehind("stsz", Count - 1 + 4)--;
    EXPECT_EQ(fewer.answer(), "the edited file lost its samples");
}

TEST(EditCheck, TracksAndItemsHaveToBeThere)
{
    for (std::string_view lost : { "trak", "artist" }) {
        Moved moved;
        moved.byteBehind(lost, 0) = 'x';
        EXPECT_EQ(moved.answer(), "the new metadata does not read back as it was written") << lost;
    }
    Moved other;
    other.byteBehind("soun", 0) = 'x';
    EXPECT_EQ(other.answer(), "the edited file lost its samples");
}

/// The answer to a front of 64 bytes in place of the present one.
std::string frontAnswer(const Bytes& source, std::uint64_t oldSize, const std::function<void(Bytes&)>& change)
{
    FrontEdit edit;
    Bytes front = joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, 54 }, Bytes(54) });
    auto plan = edit.plan(StructureReader(ByteView(source)), oldSize, front);
    EXPECT_TRUE(plan.ok());
    Bytes made = performed(*plan, source);
    EXPECT_TRUE(charsOf(made).starts_with(charsOf(front)));
    EXPECT_EQ(made.size(), source.size() - oldSize + front.size());
    change(made);
    auto checked = edit.check(StructureReader(ByteView(made)));
    return checked.ok() ? "" : checked.error().text;
}

TEST(FrontEdit, MovesAMovieWithItsOffsets)
{
    constexpr std::string_view Lost = "the movie behind the new tag is not what it was";
    Mp4Spec spec = namedSpec();
    for (std::uint64_t oldSize : { 0u, 20u, 64u }) {
        spec.inFront = oldSize == 0
            ? Bytes {}
            : joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(oldSize - 10) },
                Bytes(oldSize - 10) });
        MadeMp4 made = makeMp4(spec);
        EXPECT_EQ(frontAnswer(made.bytes, oldSize,
                      [&](Bytes& file) { EXPECT_EQ(chunkOffset(file), made.mediaOffset - oldSize + 64); }),
            "");
        EXPECT_EQ(
            frontAnswer(made.bytes, oldSize, [](Bytes& file) { file.at(charsOf(file).rfind("stco") + 15)++; }), Lost);
        EXPECT_EQ(
            frontAnswer(made.bytes, oldSize, [](Bytes& file) { file.at(charsOf(file).rfind("artist"))++; }), Lost);
    }
    EXPECT_EQ(frontAnswer(bytes("no movie at all"), 3, [](Bytes&) {}), "");
}

} // namespace
} // namespace mv
