// Every field from its item and back, and what is no field.
#include "mp4/mp4.h"
#include "tests/support/Mp4Maker.h"

#include <array>
#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

MP4Tags fetch(const Bytes& items)
{
    Mp4Spec spec;
    spec.items = items;
    Bytes bytes = makeMp4(spec).bytes;
    auto file = Mp4File::open(StructureReader(ByteView(bytes)));
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsFetch(tags, *file);
    return tags;
}

struct TextRow {
    const char* code;
    MP4Tags::Text MP4Tags::*field;
    void (*set)(MP4Tags&, TagText) = nullptr; ///< of a field that somebody sets
};

constexpr std::array TextRows = {
    TextRow { "\251nam", &MP4Tags::name, MP4TagsSetName },
    TextRow { "\251ART", &MP4Tags::artist, MP4TagsSetArtist },
    TextRow { "aART", &MP4Tags::albumArtist, MP4TagsSetAlbumArtist },
    TextRow { "\251alb", &MP4Tags::album, MP4TagsSetAlbum },
    TextRow { "\251grp", &MP4Tags::grouping, MP4TagsSetGrouping },
    TextRow { "\251wrt", &MP4Tags::composer, MP4TagsSetComposer },
    TextRow { "\251cmt", &MP4Tags::comments, MP4TagsSetComments },
    TextRow { "\251gen", &MP4Tags::genre, MP4TagsSetGenre },
    TextRow { "\251day", &MP4Tags::releaseDate, MP4TagsSetReleaseDate },
    TextRow { "tvsh", &MP4Tags::tvShow },
    TextRow { "tvnn", &MP4Tags::tvNetwork },
    TextRow { "tven", &MP4Tags::tvEpisodeID },
    TextRow { "desc", &MP4Tags::description },
    TextRow { "ldes", &MP4Tags::longDescription },
    TextRow { "\251lyr", &MP4Tags::lyrics, MP4TagsSetLyrics },
    TextRow { "sonm", &MP4Tags::sortName, MP4TagsSetSortName },
    TextRow { "soar", &MP4Tags::sortArtist, MP4TagsSetSortArtist },
    TextRow { "soaa", &MP4Tags::sortAlbumArtist, MP4TagsSetSortAlbumArtist },
    TextRow { "soal", &MP4Tags::sortAlbum, MP4TagsSetSortAlbum },
    TextRow { "soco", &MP4Tags::sortComposer, MP4TagsSetSortComposer },
    TextRow { "sosn", &MP4Tags::sortTVShow },
    TextRow { "cprt", &MP4Tags::copyright, MP4TagsSetCopyright },
    TextRow { "\251too", &MP4Tags::encodingTool },
    TextRow { "\251enc", &MP4Tags::encodedBy },
    TextRow { "purd", &MP4Tags::purchaseDate },
    TextRow { "keyw", &MP4Tags::keywords },
    TextRow { "catg", &MP4Tags::category },
    TextRow { "xid ", &MP4Tags::xid },
    TextRow { "apID", &MP4Tags::iTunesAccount },
};

template <class T> struct NumberRow {
    const char* code;
    MP4Tags::Number<T> MP4Tags::*field;
    void (*set)(MP4Tags&, TagNumber<T>) = nullptr; ///< of a field that somebody sets
};

constexpr std::array ByteRows = {
    NumberRow<std::uint8_t> { "cpil", &MP4Tags::compilation, MP4TagsSetCompilation },
    NumberRow<std::uint8_t> { "pcst", &MP4Tags::podcast },
    NumberRow<std::uint8_t> { "hdvd", &MP4Tags::hdVideo },
    NumberRow<std::uint8_t> { "stik", &MP4Tags::mediaType },
    NumberRow<std::uint8_t> { "rtng", &MP4Tags::contentRating },
    NumberRow<std::uint8_t> { "pgap", &MP4Tags::gapless },
    NumberRow<std::uint8_t> { "akID", &MP4Tags::iTunesAccountType },
};
constexpr std::array ShortRows = {
    NumberRow<std::uint16_t> { "gnre", &MP4Tags::genreType, MP4TagsSetGenreType },
    NumberRow<std::uint16_t> { "tmpo", &MP4Tags::tempo, MP4TagsSetTempo },
};
constexpr std::array LongRows = {
    NumberRow<std::uint32_t> { "tvsn", &MP4Tags::tvSeason },
    NumberRow<std::uint32_t> { "tves", &MP4Tags::tvEpisode },
    NumberRow<std::uint32_t> { "cnID", &MP4Tags::contentID },
    NumberRow<std::uint32_t> { "atID", &MP4Tags::artistID },
    NumberRow<std::uint32_t> { "geID", &MP4Tags::genreID },
    NumberRow<std::uint32_t> { "cmID", &MP4Tags::composerID },
    NumberRow<std::uint32_t> { "sfID", &MP4Tags::iTunesCountry },
};
constexpr std::array WideRows = {
    NumberRow<std::uint64_t> { "plID", &MP4Tags::playlistID },
};

/// By the field's own operation where there is one.
void assign(const TextRow& row, MP4Tags& tags, const MP4Tags::Text& value)
{
    if (row.set)
        row.set(tags, value);
    else
        tags.*row.field = value;
}

template <class T> void assign(const NumberRow<T>& row, MP4Tags& tags, std::type_identity_t<MP4Tags::Number<T>> value)
{
    if (row.set)
        row.set(tags, value);
    else
        tags.*row.field = value;
}

TEST(TagFields, EveryTextIsReadAndWritten)
{
    for (const TextRow& row : TextRows) {
        MP4Tags read = fetch(textItem(row.code, "Größe"));
        ASSERT_EQ(read.*row.field, "Größe") << row.code;
        MP4Tags alone;
        assign(row, alone, std::string("Größe"));
        EXPECT_EQ(alone, read) << row.code; // nothing else was set
        MP4ItmfItemList items = itemsWithTags({}, alone);
        ASSERT_EQ(items.size(), 1u);
        EXPECT_EQ(serializedItem(items[0]), textItem(row.code, "Größe")) << row.code;
        assign(row, alone, {});
        EXPECT_EQ(alone, MP4Tags {}) << row.code;
    }
}

template <class Rows> void checkNumbers(const Rows& rows, std::uint64_t value, int type)
{
    for (const auto& row : rows) {
        int width = static_cast<int>(sizeof(typename std::decay_t<decltype(MP4Tags {}.*row.field)>::value_type));
        int written = std::string_view(row.code) == "gnre" ? 0 : type;
        Bytes item = test::item(row.code, written, number(value, width));
        MP4Tags read = fetch(item);
        ASSERT_EQ(read.*row.field, value) << row.code;
        MP4Tags alone;
        assign(row, alone, static_cast<typename std::decay_t<decltype(MP4Tags {}.*row.field)>::value_type>(value));
        EXPECT_EQ(alone, read) << row.code;
        EXPECT_EQ(serializedItem(itemsWithTags({}, alone).at(0)), item) << row.code;
        assign(row, alone, {});
        EXPECT_EQ(alone, MP4Tags {}) << row.code;
    }
}

TEST(TagFields, EveryNumberIsReadAndWritten)
{
    checkNumbers(ByteRows, 0xFE, 21);
    checkNumbers(ShortRows, 0xFEDC, 21);
    checkNumbers(LongRows, 0xFEDCBA98, 21);
    checkNumbers(WideRows, 0xFEDCBA9876543210, 21);
}

TEST(TagFields, NumbersAreReadFromAnyWidthThatHoldsThem)
{
    EXPECT_EQ(fetch(item("tmpo", 21, number(120, 1))).tempo, 120);
    EXPECT_EQ(fetch(item("tmpo", 21, number(120, 4))).tempo, 120);
    EXPECT_EQ(fetch(item("cpil", 21, number(1, 2))).compilation, 1);
    EXPECT_EQ(fetch(item("gnre", 0, number(18, 1))).genreType, 18);
    EXPECT_EQ(fetch(item("plID", 21, number(77, 4))).playlistID, 77u);
    EXPECT_FALSE(fetch(item("cpil", 21, number(256, 2))).compilation); // does not fit
    EXPECT_FALSE(fetch(item("tmpo", 21, {})).tempo);
    EXPECT_FALSE(fetch(item("tmpo", 21, Bytes(9))).tempo);
}

TEST(TagFields, PairsHaveAnIndexAndATotal)
{
    EXPECT_EQ(fetch(item("trkn", 0, pair(5, 12, 8))).track, (MP4TagTrack { 5, 12 }));
    EXPECT_EQ(fetch(item("trkn", 0, pair(5, 12, 6))).track, (MP4TagTrack { 5, 12 }));
    EXPECT_EQ(fetch(item("trkn", 0, pair(5, 12, 4))).track, (MP4TagTrack { 5, 0 }));
    EXPECT_FALSE(fetch(item("trkn", 0, pair(5, 12, 3))).track);
    EXPECT_EQ(fetch(item("disk", 0, pair(1, 2, 6))).disk, (MP4TagDisk { 1, 2 }));
    EXPECT_EQ(fetch(item("disk", 0, pair(1, 2, 8))).disk, (MP4TagDisk { 1, 2 }));
}

TEST(TagFields, PairsAreWrittenInTheirUsualWidths)
{
    MP4Tags tags;
    MP4TagsSetTrack(tags, MP4TagTrack { 5, 12 });
    MP4TagsSetDisk(tags, MP4TagDisk { 1, 2 });
    auto items = itemsWithTags({}, tags);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(serializedItem(items[0]), item("trkn", 0, pair(5, 12, 8)));
    EXPECT_EQ(serializedItem(items[1]), item("disk", 0, pair(1, 2, 6)));
}

TEST(TagFields, AnEmptyTextIsThere)
{
    EXPECT_EQ(fetch(textItem("\251nam", "")).name, "");
    MP4Tags tags;
    MP4TagsSetName(tags, "");
    EXPECT_EQ(itemsWithTags({}, tags).size(), 1u);
}

TEST(TagFields, AnItemWithoutAValueIsNotThere) { EXPECT_FALSE(fetch(box("\251nam", Bytes {})).name); }

TEST(TagFields, TextsEndAtAZeroByteAndAreValidUtf8)
{
    EXPECT_EQ(fetch(item("\251nam", 1, joined({ bytes("one"), Bytes(1), bytes("two") }))).name, "one");
    EXPECT_EQ(fetch(item("\251nam", 1, Bytes { 'a', 0xFF, 'b' })).name, "a\uFFFDb");
    EXPECT_EQ(fetch(item("\251nam", 2, Bytes { 0, 'H', 0x20, 0xAC })).name, "H€"); // UTF-16
    EXPECT_EQ(fetch(item("\251nam", 0, bytes("untyped"))).name, "untyped");
}

TEST(TagFields, TheFirstItemAndItsFirstValueCount)
{
    Bytes two = joined({ textItem("\251ART", "first"), textItem("\251ART", "second") });
    EXPECT_EQ(fetch(two).artist, "first");
    EXPECT_EQ(fetch(box("\251ART", { dataBox(1, bytes("a")), dataBox(1, bytes("b")) })).artist, "a");
}

TEST(Artwork, AllPicturesOfAllCoverItemsInOrder)
{
    Bytes jpeg = bytes("\xFF\xD8\xFF\xE0 jpeg");
    Bytes png = bytes("\x89PNG\r\n");
    MP4Tags tags = fetch(joined({ box("covr", { dataBox(13, jpeg), dataBox(14, png) }), textItem("\251nam", "x"),
        item("covr", 27, bytes("BM")), item("covr", 12, bytes("GIF89a")), item("covr", 13, {}) }));
    ASSERT_EQ(tags.artworkCount(), 5u);
    EXPECT_EQ(tags.artwork[0], (MP4TagArtwork { jpeg, MP4_ART_JPEG }));
    EXPECT_EQ(tags.artwork[1], (MP4TagArtwork { png, MP4_ART_PNG }));
    EXPECT_EQ(tags.artwork[2].type, MP4_ART_BMP);
    EXPECT_EQ(tags.artwork[3].type, MP4_ART_GIF);
    EXPECT_EQ(tags.artwork[4], (MP4TagArtwork { {}, MP4_ART_JPEG })); // what is empty counts too
}

TEST(Artwork, AnEmptyFirstOneIsTheOneThatIsReplacedOrRemoved)
{
    MP4ItmfItemList items = parseItems(box("covr", { dataBox(13, {}), dataBox(14, bytes("\x89PNG two")) }));
    MP4Tags tags = tagsFromItems(items);
    ASSERT_TRUE(MP4TagsSetArtwork(tags, 0, { bytes("\xFF\xD8\xFF"), MP4_ART_JPEG }));
    MP4Tags replaced = tagsFromItems(itemsWithTags(items, tags));
    ASSERT_EQ(replaced.artworkCount(), 2u);
    EXPECT_EQ(replaced.artwork[0].data, bytes("\xFF\xD8\xFF"));
    EXPECT_EQ(replaced.artwork[1].data, bytes("\x89PNG two"));
    ASSERT_TRUE(MP4TagsRemoveArtwork(tags, 0));
    MP4Tags removed = tagsFromItems(itemsWithTags(items, tags));
    ASSERT_EQ(removed.artworkCount(), 1u);
    EXPECT_EQ(removed.artwork[0].data, bytes("\x89PNG two"));
}

TEST(Artwork, TheTypeIsTheFilesElseTheFirstBytes)
{
    EXPECT_EQ(fetch(item("covr", 14, bytes("\xFF\xD8\xFF"))).artwork[0].type, MP4_ART_PNG);
    EXPECT_EQ(fetch(item("covr", 0, bytes("\xFF\xD8\xFF\xE1"))).artwork[0].type, MP4_ART_JPEG);
    EXPECT_EQ(fetch(item("covr", 0, bytes("\x89PNG"))).artwork[0].type, MP4_ART_PNG);
    EXPECT_EQ(fetch(item("covr", 0, bytes("what"))).artwork[0].type, MP4_ART_UNDEFINED);
}

TEST(Artwork, AddSetAndRemove)
{
    MP4Tags tags;
    MP4TagsAddArtwork(tags, { bytes("\xFF\xD8\xFF one"), MP4_ART_JPEG });
    MP4TagsAddArtwork(tags, { bytes("two"), MP4_ART_PNG });
    EXPECT_FALSE(MP4TagsSetArtwork(tags, 2, {}));
    EXPECT_TRUE(MP4TagsSetArtwork(tags, 1, { bytes("three"), MP4_ART_BMP }));
    auto items = itemsWithTags({}, tags);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(
        serializedItem(items[0]), box("covr", { dataBox(13, bytes("\xFF\xD8\xFF one")), dataBox(27, bytes("three")) }));
    EXPECT_TRUE(MP4TagsRemoveArtwork(tags, 0));
    EXPECT_EQ(itemsWithTags(items, tags).at(0).dataList.size(), 1u);
    EXPECT_FALSE(MP4TagsRemoveArtwork(tags, 1));
    EXPECT_TRUE(MP4TagsRemoveArtwork(tags, 0));
    EXPECT_TRUE(itemsWithTags(items, tags).empty());
}

TEST(Artwork, PicturesThatStayKeepTypeLocaleAndNeighbours)
{
    Bytes named = fullBox("name", 0, 0, { bytes("front") });
    MP4ItmfItemList before = parseItems(
        box("covr", { dataBox(0, bytes("odd picture"), 0x1234), named, dataBox(13, bytes("\xFF\xD8\xFF")) }));
    MP4Tags tags = tagsFromItems(before);
    ASSERT_TRUE(MP4TagsSetArtwork(tags, 1, { bytes("\xFF\xD8\xFF new"), MP4_ART_JPEG }));
    auto items = itemsWithTags(before, tags);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(serializedItem(items[0]),
        box("covr", { dataBox(0, bytes("odd picture"), 0x1234), dataBox(13, bytes("\xFF\xD8\xFF new")), named }));
}

TEST(ItemsWithTags, ChangedFieldsStayInTheirPlace)
{
    Bytes list = joined({ textItem("\251nam", "old"), textItem("\251ART", "artist"), textItem("\251nam", "twice"),
        freeformItem("com.apple.iTunes", "ISRC", "X") });
    MP4ItmfItemList before = parseItems(list);
    MP4Tags tags = tagsFromItems(before);
    MP4TagsSetName(tags, "new");
    MP4TagsSetAlbum(tags, "album");
    auto after = itemsWithTags(before, tags);
    ASSERT_EQ(after.size(), 4u);
    EXPECT_EQ(serializedItem(after[0]), textItem("\251nam", "new"));
    EXPECT_EQ(after[1], before[1]);
    EXPECT_EQ(after[2], before[3]);
    EXPECT_EQ(serializedItem(after[3]), textItem("\251alb", "album"));
    MP4TagsSetName(tags, std::nullopt);
    EXPECT_EQ(itemsWithTags(before, tags).size(), 3u);
}

TEST(ItemsWithTags, UnchangedTagsChangeNothing)
{
    Bytes list = joined({ item("\251nam", 2, Bytes { 0, 'H' }), item("cpil", 21, number(1, 4)), item("cpil", 0, {}),
        item("covr", 0, bytes("?")), textItem("abcd", "unknown"), box("\251too", Bytes {}) });
    MP4ItmfItemList before = parseItems(list);
    EXPECT_EQ(itemsWithTags(before, tagsFromItems(before)), before);
}

TEST(Items, CarryCodeTypeLocaleAndFreeformNames)
{
    Mp4Spec spec;
    spec.items = joined({ item("purl", 0, bytes("http://feed")), freeformItem("com.apple.iTunes", "iTunNORM", "0 1"),
        box("covr", { dataBox(13, bytes("a"), 7), dataBox(14, bytes("b")) }), freeBox(20) });
    Bytes bytes = makeMp4(spec).bytes;
    auto file = Mp4File::open(StructureReader(ByteView(bytes)));
    MP4ItmfItemList items = MP4ItmfGetItems(*file);
    ASSERT_EQ(items.size(), 3u); // free space is no item
    EXPECT_EQ(items[0].code, fourCC("purl"));
    EXPECT_EQ(items[0].dataList[0].typeCode, MP4ItmfBasicType::Implicit);
    EXPECT_EQ(items[0].dataList[0].value, test::bytes("http://feed"));
    EXPECT_EQ(items[1].mean, "com.apple.iTunes");
    EXPECT_EQ(items[1].name, "iTunNORM");
    EXPECT_EQ(items[2].dataList.size(), 2u);
    EXPECT_EQ(items[2].dataList[0].locale, 7u);
    EXPECT_EQ(items[2].dataList[1].typeCode, MP4ItmfBasicType::Png);
}

TEST(Metadata, QuickTimeMetaHasNoVersion)
{
    Bytes handler = fullBox("hdlr", 0, 0, { number(0, 4), bytes("mdirappl"), Bytes(9) });
    Mp4Spec spec;
    spec.hasUserData = false;
    spec.extraInMovie = box("udta", box("meta", { handler, box("ilst", textItem("\251nam", "x")) }));
    Bytes bytes = makeMp4(spec).bytes;
    auto file = Mp4File::open(StructureReader(ByteView(bytes)));
    EXPECT_EQ(tagsFromItems(file->items()).name, "x");
}

TEST(Metadata, ABoxWithoutHandlerIsRead)
{
    Bytes list = box("ilst", textItem("\251nam", "x"));
    for (const Bytes& meta : { box("meta", list), fullBox("meta", 0, 0, { list }) }) {
        Mp4Spec spec;
        spec.hasUserData = false;
        spec.extraInMovie = box("udta", meta);
        Bytes bytes = makeMp4(spec).bytes;
        auto file = Mp4File::open(StructureReader(ByteView(bytes)));
        EXPECT_EQ(tagsFromItems(file->items()).name, "x");
    }
}

TEST(Metadata, UserDataTextsAndKeyedListsAreNoTags)
{
    Bytes text = box("\251nam", { number(4, 2), number(0, 2), bytes("text") });
    Bytes handler = fullBox("hdlr", 0, 0, { number(0, 4), bytes("mdta"), Bytes(13) });
    Bytes keys = fullBox("keys", 0, 0, { number(1, 4), box("mdta", bytes("title")) });
    Bytes list = box("ilst", box(std::string("\0\0\0\1", 4), dataBox(1, bytes("keyed"))));
    Mp4Spec spec;
    spec.hasUserData = false;
    spec.extraInMovie = box("udta", { text, fullBox("meta", 0, 0, { handler, keys, list }) });
    Bytes bytes = makeMp4(spec).bytes;
    auto file = Mp4File::open(StructureReader(ByteView(bytes)));
    MP4Tags tags;
    EXPECT_FALSE(MP4TagsFetch(tags, *file));
    EXPECT_EQ(tags, MP4Tags {});
}

TEST(Metadata, AnEmptyListInFrontOfAnotherDoesNotHideIt)
{
    Mp4Spec spec;
    spec.items = {};
    spec.extraInMovie = userData(textItem("\251nam", "second"));
    Bytes bytes = makeMp4(spec).bytes;
    auto file = Mp4File::open(StructureReader(ByteView(bytes)));
    EXPECT_EQ(tagsFromItems(file->items()).name, "second");
}

} // namespace
} // namespace mv
