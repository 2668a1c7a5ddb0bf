// Where an edit puts the movie box, and that every chunk is still found.
#include "mp4/MoovEditor.h"
#include "tests/mp4/EditedFile.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

std::vector<std::uint32_t> topLevel(const Bytes& file)
{
    StructureReader reader { ByteView(file) };
    BoxWalker walker(reader, 0, file.size());
    std::vector<std::uint32_t> types;
    while (auto box = walker.next())
        types.push_back(box->type);
    EXPECT_FALSE(walker.damaged());
    return types;
}

TEST(Edit, TheSameItemsPlanNothing) { EXPECT_EQ(rename(makeMp4(namedSpec()).bytes, "name").layout, Layout::Unchanged); }

TEST(Edit, APaddedListChangesInPlace)
{
    Mp4Spec spec = namedSpec();
    spec.padding = 100;
    MadeMp4 made = makeMp4(spec);
    for (std::string_view name : { "other", "", "a longer one", "name of a whole sentence" }) {
        Edited edited = rename(made.bytes, name);
        EXPECT_EQ(edited.layout, Layout::InPlace);
        EXPECT_EQ(edited.bytes.size(), made.bytes.size());
    }
    // The padding may be used up exactly: 96 more bytes leave 4, which make no box; 100 leave none.
    EXPECT_NE(rename(made.bytes, std::string(4 + 96, 'x')).layout, Layout::InPlace);
    EXPECT_EQ(rename(made.bytes, std::string(4 + 92, 'x')).layout, Layout::InPlace);
    EXPECT_EQ(rename(made.bytes, std::string(4 + 100, 'x')).layout, Layout::InPlace);
}

TEST(Edit, AShorterListLeavesPaddingForTheNextOne)
{
    Mp4Spec spec = namedSpec();
    spec.items = joined({ spec.items, textItem("\251cmt", std::string(200, 'c')) });
    MadeMp4 made = makeMp4(spec);
    Edited shorter = rename(made.bytes, ""); // four bytes less make no free box
    EXPECT_NE(shorter.layout, Layout::InPlace);
    Edited uncommented = edited(made.bytes, tagEdit([](MP4Tags& tags) { MP4TagsSetComments(tags, std::nullopt); }));
    ASSERT_EQ(uncommented.layout, Layout::InPlace);
    EXPECT_EQ(rename(uncommented.bytes, std::string(150, 'n')).layout, Layout::InPlace);
}

TEST(Edit, FreeSpaceAroundTheMovieBoxIsUsed)
{
    for (bool before : { false, true }) {
        Mp4Spec spec = namedSpec();
        (before ? spec.freeBefore : spec.freeBehind) = 1000;
        MadeMp4 made = makeMp4(spec);
        Edited edited = rename(made.bytes, std::string(500, 'n'));
        EXPECT_EQ(edited.layout, Layout::FreeSpace);
        EXPECT_EQ(edited.bytes.size(), made.bytes.size());
        EXPECT_EQ(
            topLevel(edited.bytes), (std::vector { fourCC("ftyp"), fourCC("moov"), fourCC("free"), fourCC("mdat") }));
        EXPECT_EQ(chunkOffset(edited.bytes), made.mediaOffset);
        // And filled to the last byte.
        Edited full = rename(made.bytes, std::string(4 + 1000, 'n'));
        EXPECT_EQ(full.layout, Layout::FreeSpace);
        EXPECT_EQ(topLevel(full.bytes), (std::vector { fourCC("ftyp"), fourCC("moov"), fourCC("mdat") }));
        EXPECT_EQ(rename(made.bytes, std::string(4 + 996, 'n')).layout, Layout::AtTheEnd);
    }
}

TEST(Edit, WhatDoesNotFitGoesToTheEndAndItsPlaceBecomesFree)
{
    MadeMp4 made = makeMp4(namedSpec());
    Edited edited = rename(made.bytes, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::AtTheEnd);
    EXPECT_EQ(topLevel(edited.bytes), (std::vector { fourCC("ftyp"), fourCC("free"), fourCC("mdat"), fourCC("moov") }));
    EXPECT_EQ(chunkOffset(edited.bytes), made.mediaOffset); // media did not move
    // No trace of the old list, and padding for the next edit.
    std::string_view old = charsOf(edited.bytes).substr(made.movieOffset, made.movieSize);
    EXPECT_EQ(old.find("artist"), std::string_view::npos);
    EXPECT_EQ(rename(edited.bytes, std::string(2000, 'm')).layout, Layout::InPlace);
}

TEST(Edit, AMovieBoxAtTheEndGrowsThere)
{
    Mp4Spec spec = namedSpec();
    spec.movieFirst = false;
    MadeMp4 made = makeMp4(spec);
    Edited edited = rename(made.bytes, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::AtTheEnd);
    EXPECT_EQ(topLevel(edited.bytes), (std::vector { fourCC("ftyp"), fourCC("mdat"), fourCC("moov") }));
    EXPECT_EQ(edited.bytes.size(), made.bytes.size() + 496 + MoovEditor::DefaultPadding);
}

TEST(Edit, MediaThatLastUntilTheEndGetASize)
{
    Mp4Spec spec = namedSpec();
    spec.mediaSize = Mp4Spec::MediaSize::ToTheEnd;
    MadeMp4 made = makeMp4(spec);
    Edited edited = rename(made.bytes, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::AtTheEnd);
    EXPECT_EQ(topLevel(edited.bytes), (std::vector { fourCC("ftyp"), fourCC("free"), fourCC("mdat"), fourCC("moov") }));
    EXPECT_EQ(chunkOffset(edited.bytes), made.mediaOffset);
}

TEST(Edit, NothingIsPutWhereCutMediaWouldBe)
{
    Mp4Spec spec = namedSpec();
    spec.mediaSize = Mp4Spec::MediaSize::ToTheEnd;
    MadeMp4 whole = makeMp4(spec);
    for (std::size_t left : { 599u, 350u, 100u, 0u }) { // of 600 in one chunk
        Bytes cut(whole.bytes.begin(), whole.bytes.begin() + static_cast<std::ptrdiff_t>(whole.mediaOffset + left));
        Edited edited = rename(cut, std::string(500, 'n'));
        EXPECT_EQ(edited.layout, Layout::Shifted) << left;
        EXPECT_EQ(topLevel(edited.bytes), (std::vector { fourCC("ftyp"), fourCC("moov"), fourCC("mdat") }));
        EXPECT_EQ(chunkOffset(edited.bytes) + left, edited.bytes.size()); // ends where it ended
    }
    // Room for the new name leaves everything in its place.
    spec.freeBehind = 1000;
    MadeMp4 roomy = makeMp4(spec);
    roomy.bytes.pop_back();
    EXPECT_EQ(rename(roomy.bytes, std::string(500, 'n')).layout, Layout::FreeSpace);
}

TEST(Edit, CutMediaThatCannotMoveAreRefused)
{
    Mp4Spec spec = namedSpec();
    spec.mediaSize = Mp4Spec::MediaSize::ToTheEnd;
    spec.tracks[0].code = "drms";
    MadeMp4 made = makeMp4(spec);
    made.bytes.pop_back();
    auto plan = planLongName(made.bytes);
    ASSERT_FALSE(plan.ok());
    EXPECT_EQ(plan.error().kind, Error::Kind::Unsupported);
}

TEST(Edit, MediaOfOtherFilesAreNotCut)
{
    Mp4Spec spec = namedSpec();
    spec.tracks[0].externalMedia = true;
    spec.tracks[0].chunks = { 1'000'000 };
    EXPECT_EQ(rename(makeMp4(spec).bytes, std::string(500, 'n')).layout, Layout::AtTheEnd);
}

TEST(Edit, EncryptedFilesAreEditedWhereNothingMoves)
{
    Mp4Spec spec = namedSpec();
    spec.tracks[0].code = "drms";
    EXPECT_EQ(rename(makeMp4(spec).bytes, std::string(500, 'n')).layout, Layout::AtTheEnd);
}

TEST(Edit, MediaInsideTheMovieBoxAreRefused)
{
    Mp4Spec spec = namedSpec();
    spec.tracks[0].chunks = { 60 };
    auto plan = planLongName(makeMp4(spec).bytes);
    ASSERT_FALSE(plan.ok());
    EXPECT_EQ(plan.error().kind, Error::Kind::Unsupported);
}

TEST(Edit, FreeSpaceThatHoldsMediaIsLeftAlone)
{
    Mp4Spec spec = namedSpec();
    spec.freeBehind = 1000;
    MadeMp4 made = makeMp4(spec);
    spec.tracks[0].chunks = { made.movieOffset + made.movieSize + 8 };
    EXPECT_EQ(rename(makeMp4(spec).bytes, std::string(500, 'n')).layout, Layout::AtTheEnd);
}

TEST(Edit, ListsAreMadeWhereThereWereNone)
{
    Mp4Spec bare = namedSpec();
    bare.hasUserData = false;
    EXPECT_EQ(rename(makeMp4(bare).bytes, "new").layout, Layout::AtTheEnd);

    Mp4Spec texts = bare; // QuickTime's user data end with a zero
    Bytes copyright = box("\251cpy", { number(4, 2), number(0, 2), bytes("mine") });
    texts.extraInMovie = box("udta", { copyright, Bytes(4) });
    Edited edited = rename(makeMp4(texts).bytes, "new");
    EXPECT_NE(charsOf(edited.bytes).find(charsOf(copyright)), std::string_view::npos);

    Mp4Spec listless = bare;
    Bytes handler = fullBox("hdlr", 0, 0, { number(0, 4), bytes("mdirappl"), Bytes(9) });
    listless.extraInMovie = box("udta", fullBox("meta", 0, 0, { handler }));
    rename(makeMp4(listless).bytes, "new");

    Mp4Spec keyed = bare; // other metadata stay as they are
    Bytes keyHandler = fullBox("hdlr", 0, 0, { number(0, 4), bytes("mdta"), Bytes(13) });
    Bytes keys = fullBox("meta", 0, 0, { keyHandler, box("ilst", Bytes {}) });
    keyed.extraInMovie = box("udta", keys);
    EXPECT_NE(charsOf(rename(makeMp4(keyed).bytes, "new").bytes).find(charsOf(keys)), std::string_view::npos);
}

TEST(Edit, UnknownItemsKeepTheirBytes)
{
    Bytes odd = box("odd!", { box("what", Bytes(5, 1)), dataBox(77, bytes("v"), 0xABCD), number(0, 4) });
    Bytes covers = box("covr", { dataBox(0, bytes("\xFF\xD8\xFF")), fullBox("name", 0, 0, { bytes("a.jpg") }) });
    Bytes wide = item("tmpo", 21, number(90, 4));
    Mp4Spec spec = namedSpec();
    spec.items = joined({ odd, spec.items, covers, wide, freeformItem("mean", "name", "value") });
    Edited edited = rename(makeMp4(spec).bytes, std::string(300, 'n'));
    for (const Bytes& kept : { odd, covers, wide, freeformItem("mean", "name", "value") })
        EXPECT_NE(charsOf(edited.bytes).find(charsOf(kept)), std::string_view::npos);
}

TEST(Edit, AListThatCouldNotBeReadAgainIsRefused)
{
    Bytes source = makeMp4(namedSpec()).bytes;
    auto plan = tagEdit([](MP4Tags& tags) {
        MP4TagsAddArtwork(tags, { Bytes(MaxTagBytes), MP4_ART_JPEG });
    }).plan(StructureReader(ByteView(source)));
    ASSERT_FALSE(plan.ok());
    EXPECT_EQ(plan.error().kind, Error::Kind::Limit);
}

TEST(Edit, ADamagedListIsNotEdited)
{
    Mp4Spec spec = namedSpec();
    spec.items = joined({ textItem("\251nam", "name"), number(900, 4), bytes("over"), Bytes(4) });
    auto plan = planLongName(makeMp4(spec).bytes);
    ASSERT_FALSE(plan.ok());
    EXPECT_EQ(plan.error().kind, Error::Kind::Format);
}

TEST(Edit, AMovieBoxWithTablesThatOverrunIsNotMoved)
{
    MadeMp4 made = makeMp4(namedSpec());
    auto damaged = [&](std::string_view mark, std::size_t distance, std::uint8_t value) {
        Bytes source = made.bytes;
        std::size_t place = charsOf(source).find(mark);
        source.at(place + distance) = value;
        return source;
    };
    EXPECT_TRUE(planLongName(made.bytes).ok());
    // Counts of descriptions, references and rows, and the size of a description.
    for (const Bytes& source :
        { damaged("stsd", 8, 1), damaged("mp4a", static_cast<std::size_t>(-3), 1), damaged("dref", 9, 1),
            damaged("stts", 9, 1), damaged("stsc", 9, 1), damaged("stsz", 13, 1), damaged("stco", 9, 1) }) {
        auto plan = planLongName(source);
        ASSERT_FALSE(plan.ok());
        EXPECT_EQ(plan.error().text, "the movie box is damaged and has no room");
    }
}

TEST(Edit, BoxesNestedWithoutEndAreNotFollowed)
{
    constexpr std::uint64_t Depth = 200'000;
    Bytes nested;
    ByteWriter writer(nested);
    for (std::uint64_t i = Depth; i > 0; --i) {
        writer.u32be(static_cast<std::uint32_t>(i * 8));
        writer.text("trak");
    }
    Mp4Spec spec = namedSpec();
    spec.extraInMovie = nested;
    EXPECT_EQ(rename(makeMp4(spec).bytes, std::string(500, 'n')).layout, Layout::AtTheEnd);
    spec.behind = bytes("no box");
    EXPECT_EQ(rename(makeMp4(spec).bytes, std::string(500, 'n')).layout, Layout::Shifted);
}

TEST(Edit, FilesBehindAnId3TagKeepIt)
{
    Mp4Spec spec = namedSpec();
    spec.inFront = joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, 50 }, Bytes(50, 'i') });
    Edited edited = rename(makeMp4(spec).bytes, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::AtTheEnd);
    EXPECT_TRUE(charsOf(edited.bytes).starts_with(charsOf(spec.inFront)));
}

TEST(Edit, AWideMovieBoxStaysWide)
{
    MadeMp4 made = makeMp4(namedSpec());
    auto at = made.bytes.begin() + static_cast<std::ptrdiff_t>(made.movieOffset);
    Bytes wide(made.bytes.begin(), at);
    Bytes rest(at + 8, made.bytes.end());
    wide = joined({ wide, number(1, 4), bytes("moov"), number(made.movieSize + 8, 8), rest });
    Bytes after = rename(wide, std::string(300, 'n')).bytes;
    StructureReader reader { ByteView(after) };
    EXPECT_EQ(readMovieFacts(reader)->movieBox.headerSize, 16u);
}

} // namespace
} // namespace mv
