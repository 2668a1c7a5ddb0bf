// Where an edit puts the movie box, and that every chunk is still found.
#include "mp4/MoovEditor.h"
#include "mp4/mp4.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <numeric>
#include <sys/stat.h>

namespace mv {
namespace {

using namespace test;
using Layout = EditPlan::Layout;

Bytes countedMedia(std::size_t size)
{
    Bytes media(size);
    std::iota(media.begin(), media.end(), std::uint8_t { 1 });
    return media;
}

/// The planned content, made in memory.
Bytes perform(const FileContent& content, const Bytes& source)
{
    Bytes result;
    for (const FileSegment& segment : content) {
        if (segment.isCopy) {
            auto begin = source.begin() + static_cast<std::ptrdiff_t>(segment.offset);
            result.insert(result.end(), begin, begin + static_cast<std::ptrdiff_t>(segment.length));
        } else {
            result.insert(result.end(), segment.bytes.begin(), segment.bytes.end());
        }
    }
    return result;
}

std::uint64_t chunkOffset(const Bytes& file, std::size_t track = 0)
{
    StructureReader reader { ByteView(file) };
    auto facts = readMovieFacts(reader);
    const Box& table = *facts->tracks.at(track).boxes.chunkOffsets;
    ByteReader fields(payloadStart(reader, table, 16));
    fields.skip(8);
    return table.type == fourCC("co64") ? fields.u64be() : fields.u32be();
}

struct Edited {
    Layout layout;
    Bytes bytes;
};

MP4ItmfItemList withName(const MP4ItmfItemList& items, std::string_view name)
{
    MP4Tags tags = tagsFromItems(items);
    MP4TagsSetName(tags, name);
    return itemsWithTags(items, tags);
}

/// Gives the file a name; checks that the chunk's bytes are the same and that nothing else was lost.
Edited rename(const Bytes& source, std::string_view name)
{
    StructureReader before { ByteView(source) };
    auto facts = readMovieFacts(before);
    auto items = withName(readItems(before, facts->movieBox).value(), name);
    auto plan = planEdit(before, items);
    EXPECT_TRUE(plan.ok()) << (plan.ok() ? "" : plan.error().text);
    if (!plan.ok())
        return {};
    Edited edited { plan->layout, plan->layout == Layout::Unchanged ? source : perform(plan->content, source) };
    EXPECT_EQ(edited.bytes.size(), plan->layout == Layout::Unchanged ? source.size() : lengthOf(plan->content));
    StructureReader after { ByteView(edited.bytes) };
    auto checked = checkEdit(before, after, items);
    EXPECT_TRUE(checked.ok()) << (checked.ok() ? "" : checked.error().text);
    std::uint64_t oldChunk = chunkOffset(source);
    std::uint64_t newChunk = chunkOffset(edited.bytes);
    for (std::size_t i = 0; i < 100 && oldChunk + i < source.size(); i++)
        EXPECT_EQ(source.at(oldChunk + i), edited.bytes.at(newChunk + i)) << i;
    return edited;
}

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

Mp4Spec namedSpec()
{
    Mp4Spec spec;
    spec.items = joined({ textItem("\251nam", "name"), textItem("xyz ", "unknown"), textItem("\251ART", "artist") });
    spec.media = countedMedia(600);
    return spec;
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
    StructureReader reader { ByteView(made.bytes) };
    auto facts = readMovieFacts(reader);
    MP4Tags tags = tagsFromItems(readItems(reader, facts->movieBox).value());
    MP4TagsSetComments(tags, std::nullopt);
    auto plan = planEdit(reader, itemsWithTags(readItems(reader, facts->movieBox).value(), tags));
    ASSERT_EQ(plan->layout, Layout::InPlace);
    EXPECT_EQ(rename(perform(plan->content, made.bytes), std::string(150, 'n')).layout, Layout::InPlace);
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

TEST(Edit, AFileThatEndsInSomethingElseIsShifted)
{
    for (bool wide : { false, true }) {
        Mp4Spec spec = namedSpec();
        spec.behind = bytes("TAG that some program put here");
        spec.tracks[0].wideOffsets = wide;
        MadeMp4 made = makeMp4(spec);
        Edited edited = rename(made.bytes, std::string(500, 'n'));
        EXPECT_EQ(edited.layout, Layout::Shifted);
        EXPECT_EQ(chunkOffset(edited.bytes), made.mediaOffset + SharedBlockBytes);
        EXPECT_TRUE(charsOf(edited.bytes).ends_with("TAG that some program put here"));
    }
}

Result<EditPlan> planLongName(const Bytes& source)
{
    StructureReader reader { ByteView(source) };
    auto facts = readMovieFacts(reader);
    return planEdit(reader, withName(readItems(reader, facts->movieBox).value(), std::string(500, 'n')));
}

TEST(Edit, UnsafeShiftsAreRefused)
{
    auto refused = [](Mp4Spec spec) {
        spec.behind = bytes("not a box at all");
        auto plan = planLongName(makeMp4(spec).bytes);
        return !plan.ok() && plan.error().kind == Error::Kind::Unsupported;
    };
    Mp4Spec encrypted = namedSpec();
    encrypted.tracks[0].code = "enca";
    EXPECT_TRUE(refused(encrypted));
    Mp4Spec external = namedSpec();
    external.tracks[0].externalMedia = true;
    EXPECT_TRUE(refused(external));
    Mp4Spec located = namedSpec();
    located.extraInMovie = fullBox("meta", 0, 0, { fullBox("iloc", 0, 0, { number(0, 8) }) });
    EXPECT_TRUE(refused(located));
    Mp4Spec narrow = namedSpec();
    narrow.tracks[0].chunks = { 0xFFFFFF00 };
    EXPECT_TRUE(refused(narrow));
    EXPECT_FALSE(refused(namedSpec()));
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
    StructureReader reader { ByteView(source) };
    MP4Tags tags;
    MP4TagsAddArtwork(tags, { Bytes(MaxMetadataBytes), MP4_ART_JPEG });
    auto plan = planEdit(reader, itemsWithTags({}, tags));
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

TEST(Edit, FragmentedFilesKeepTheMovieBoxInFront)
{
    Mp4Spec spec = namedSpec();
    spec.extraInMovie = box("mvex", fullBox("trex", 0, 0, { number(1, 4), number(1, 4), number(1024, 4), Bytes(8) }));
    MadeMp4 plain = makeMp4(spec);
    std::uint64_t fragment = plain.bytes.size();
    Bytes moof = box("moof",
        box("traf",
            { fullBox("tfhd", 0, 1, { number(1, 4), number(fragment, 8) }), fullBox("trun", 0, 0, { number(5, 4) }) }));
    Bytes table = fullBox("tfra", 1, 0,
        { number(1, 4), number(0, 4), number(1, 4), number(0, 8), number(fragment, 8), number(0x010101, 3) });
    Bytes index = fullBox("sidx", 0, 0, { number(1, 4), number(44100, 4), number(0, 4), number(77, 4), number(0, 4) });
    spec.behind = joined({ moof, box("mdat", countedMedia(200)), box("mfra", table) });
    spec.inFront = {};
    Bytes source = makeMp4(spec).bytes;
    Edited edited = rename(source, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::Shifted);
    std::uint64_t delta = SharedBlockBytes;
    Bytes movedMoof = box("moof",
        box("traf",
            { fullBox("tfhd", 0, 1, { number(1, 4), number(fragment + delta, 8) }),
                fullBox("trun", 0, 0, { number(5, 4) }) }));
    EXPECT_EQ(charsOf(edited.bytes).substr(fragment + delta, movedMoof.size()), charsOf(movedMoof));
    Bytes movedTable = fullBox("tfra", 1, 0,
        { number(1, 4), number(0, 4), number(1, 4), number(0, 8), number(fragment + delta, 8), number(0x010101, 3) });
    EXPECT_TRUE(charsOf(edited.bytes).ends_with(charsOf(movedTable)));

    // An index in front of the movie box counts from its own end.
    Mp4Spec indexed = spec;
    indexed.inFront = index;
    Bytes movedIndex
        = fullBox("sidx", 0, 0, { number(1, 4), number(44100, 4), number(0, 4), number(77 + delta, 4), number(0, 4) });
    Edited second = rename(makeMp4(indexed).bytes, std::string(500, 'n'));
    EXPECT_TRUE(charsOf(second.bytes).starts_with(charsOf(movedIndex)));
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
    StructureReader before { ByteView(wide) };
    auto facts = readMovieFacts(before);
    auto items = withName(readItems(before, facts->movieBox).value(), std::string(300, 'n'));
    auto plan = planEdit(before, items);
    ASSERT_TRUE(plan.ok());
    Bytes after = perform(plan->content, wide);
    StructureReader reader { ByteView(after) };
    EXPECT_EQ(readMovieFacts(reader)->movieBox.headerSize, 16u);
    EXPECT_TRUE(checkEdit(before, reader, items).ok());
}

TEST(Store, WritesAtCloseOnly)
{
    ScratchFolder folder;
    MadeMp4 made = makeMp4(namedSpec());
    std::string path = folder.write("song.m4a", ByteView(made.bytes));
    auto file = MP4Modify(path, 0);
    ASSERT_TRUE(file.ok());
    MP4Tags tags = MP4TagsAlloc();
    ASSERT_TRUE(MP4TagsFetch(tags, *file));
    MP4TagsSetName(tags, "stored");
    ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    EXPECT_EQ(readFile(path), made.bytes);
    ASSERT_NE(file->plan(), nullptr);
    EXPECT_TRUE(MP4Close(std::move(*file), 0).ok());
    auto again = MP4Read(path);
    ASSERT_TRUE(again.ok());
    EXPECT_EQ(tagsFromItems(again->items()).name, "stored");
    EXPECT_EQ(tagsFromItems(again->items()).artist, "artist");
}

TEST(Store, NothingIsWrittenWithoutAChangeOrWithoutAClose)
{
    ScratchFolder folder;
    MadeMp4 made = makeMp4(namedSpec());
    std::string path = folder.write("song.m4a", ByteView(made.bytes));
    struct stat before { };
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    {
        auto file = MP4Modify(path, 0);
        MP4Tags tags;
        MP4TagsFetch(tags, *file);
        ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
        EXPECT_EQ(file->plan(), nullptr);
        EXPECT_TRUE(MP4Close(std::move(*file), 0).ok());
    }
    {
        auto file = MP4Modify(path, 0);
        MP4Tags tags;
        MP4TagsSetName(tags, "never written");
        ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    }
    struct stat after { };
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(readFile(path), made.bytes);
}

TEST(Store, NeedsAFileOpenedForModification)
{
    ScratchFolder folder;
    std::string path = folder.write("song.m4a", ByteView(makeMp4(namedSpec()).bytes));
    auto file = MP4Read(path);
    MP4Tags tags;
    auto stored = MP4TagsStore(tags, *file);
    ASSERT_FALSE(stored.ok());
    EXPECT_EQ(stored.error().kind, Error::Kind::State);
}

TEST(Store, ASecondOneStartsFromTheFirst)
{
    ScratchFolder folder;
    std::string path = folder.write("song.m4a", ByteView(makeMp4(namedSpec()).bytes));
    auto file = MP4Modify(path, 0);
    MP4Tags tags;
    MP4TagsFetch(tags, *file);
    MP4TagsSetAlbum(tags, "album");
    ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    MP4TagsFetch(tags, *file);
    EXPECT_EQ(tags.album, "album");
    MP4TagsSetGenre(tags, "Rock");
    ASSERT_TRUE(MP4TagsStore(tags, *file).ok());
    ASSERT_TRUE(MP4Close(std::move(*file), 0).ok());
    auto again = MP4Read(path);
    EXPECT_EQ(tagsFromItems(again->items()).album, "album");
    EXPECT_EQ(tagsFromItems(again->items()).genre, "Rock");
}

} // namespace
} // namespace mv
