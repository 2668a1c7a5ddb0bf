#include "mp4/RepeatedFields.h"

#include "mp4/KeyedItems.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

constexpr std::uint32_t Title = fourCC("\251nam");
constexpr std::uint32_t Album = fourCC("\251alb");
constexpr std::uint32_t Artist = fourCC("\251ART");
constexpr std::uint32_t AlbumArtist = fourCC("aART");
constexpr std::uint32_t Composer = fourCC("\251wrt");
constexpr std::uint32_t Genre = fourCC("\251gen");
constexpr std::uint32_t Comment = fourCC("\251cmt");
constexpr std::uint32_t Day = fourCC("\251day");

struct ItemOfKey {
    std::string_view key;
    std::uint32_t item;
};
constexpr std::string_view MomentOfRecording = "creationdate";
// QuickTime's names, and those that FFmpeg writes.
constexpr std::array Keys {
    ItemOfKey { "title", Title },
    ItemOfKey { "displayname", Title },
    ItemOfKey { "album", Album },
    ItemOfKey { "artist", Artist },
    ItemOfKey { "album_artist", AlbumArtist },
    ItemOfKey { "composer", Composer },
    ItemOfKey { "genre", Genre },
    ItemOfKey { "comment", Comment },
    ItemOfKey { "year", Day },
    ItemOfKey { "date", Day },
    ItemOfKey { MomentOfRecording, Day },
};

struct ItemOfBox {
    std::uint32_t box;
    std::uint32_t item;
};
constexpr std::array MobileBoxes {
    ItemOfBox { fourCC("titl"), Title },
    ItemOfBox { fourCC("albm"), Album },
    ItemOfBox { fourCC("perf"), Artist },
    ItemOfBox { fourCC("auth"), Composer },
    ItemOfBox { fourCC("gnre"), Genre },
    ItemOfBox { fourCC("dscp"), Comment },
    ItemOfBox { fourCC("yrrc"), Day },
};

} // namespace

std::uint32_t itemOfKey(std::string_view key)
{
    auto row = std::ranges::find(Keys, key, &ItemOfKey::key);
    return row == Keys.end() ? 0 : row->item;
}

std::uint32_t itemOfUserData(std::uint32_t type)
{
    constexpr std::uint32_t Copyright = 0xA9000000;
    if ((type & 0xFF000000) == Copyright)
        return type;
    auto row = std::ranges::find(MobileBoxes, type, &ItemOfBox::box);
    return row == MobileBoxes.end() ? 0 : row->item;
}

std::vector<Box> repeatedFields(StructureReader& reader, const Box& movie, std::span<const std::uint32_t> items)
{
    std::vector<Box> boxes;
    auto isOneOf = [&](std::uint32_t item) { return std::ranges::find(items, item) != items.end(); };
    const auto userData = findChildren(reader, movie, fourCC("udta"));
    for (const KeyedItem& item : keyedItems(reader, findChild(reader, movie, fourCC("meta")), userData)) {
        if (item.key != MomentOfRecording && isOneOf(itemOfKey(item.key)))
            boxes.push_back(item.box);
    }
    for (const Box& udta : userData) {
        BoxWalker walker(reader, udta);
        for (auto box = walker.next(); box && !box->overruns; box = walker.next()) {
            if (isOneOf(itemOfUserData(box->type)))
                boxes.push_back(*box);
        }
    }
    return boxes;
}

} // namespace mv
