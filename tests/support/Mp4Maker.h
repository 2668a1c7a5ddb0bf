#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Makes small MPEG-4 files, sound or broken on purpose, for tests.

namespace mv::test {

Bytes joined(const std::vector<Bytes>& parts);
Bytes bytes(std::string_view text);
/// A big-endian number of `width` bytes.
Bytes number(std::uint64_t value, int width);

/// A whole box around a content; the type is four characters, Latin-1.
Bytes box(std::string_view type, const Bytes& content);
Bytes box(std::string_view type, const std::vector<Bytes>& contents);
/// With version and flags in front.
Bytes fullBox(std::string_view type, int version, int flags, const std::vector<Bytes>& contents);

/// A data box of a metadata item.
Bytes dataBox(int type, const Bytes& value, std::uint32_t locale = 0);
/// A metadata item of one value.
Bytes item(std::string_view code, int type, const Bytes& value);
Bytes textItem(std::string_view code, std::string_view text);
Bytes freeformItem(std::string_view mean, std::string_view name, std::string_view value);
/// Two zero bytes, index, total, and for tracks two zero bytes more.
Bytes pair(std::uint16_t index, std::uint16_t total, int size);
Bytes freeBox(std::size_t size);

/// udta with meta, its handler, the list and free space of `padding` bytes (0: none).
Bytes userData(const Bytes& items, std::size_t padding = 0);

/// A meta box of QuickTime's: texts under keys.
Bytes keyedMetadata(const std::vector<std::pair<std::string, std::string>>& texts);

struct TrackSpec {
    std::uint32_t id = 1;
    std::string handler = "soun";
    std::string code = "mp4a";
    std::uint32_t timeScale = 44100;
    std::uint64_t duration = 44100;
    int version = 0; ///< of mdhd
    std::vector<std::uint32_t> sampleSizes = { 100, 200, 300 };
    Bytes sizeBox; ///< replaces stsz when not empty
    Bytes descriptionBox; ///< replaces stsd when not empty
    bool wideOffsets = false; ///< co64
    bool externalMedia = false;
    std::vector<std::uint64_t> chunks; ///< offsets; empty: one chunk at the start of the media
};

struct Mp4Spec {
    enum class MediaSize { Short, Wide, ToTheEnd };

    std::vector<TrackSpec> tracks = { TrackSpec {} };
    Bytes items; ///< content of the list
    bool hasUserData = true;
    std::size_t padding = 0; ///< free space inside the metadata
    Bytes extraInMovie; ///< whole boxes at the end of the movie box
    bool movieFirst = true;
    std::size_t freeBefore = 0; ///< free box in front of the movie box
    std::size_t freeBehind = 0; ///< free box behind it
    Bytes media = Bytes(600, 0xA5);
    MediaSize mediaSize = MediaSize::Short;
    Bytes behind; ///< after everything else
    Bytes inFront; ///< before everything else
};

struct MadeMp4 {
    Bytes bytes;
    std::size_t movieOffset = 0; ///< of the movie box
    std::size_t movieSize = 0;
    std::size_t mediaOffset = 0; ///< of the first media byte
};

MadeMp4 makeMp4(const Mp4Spec& spec);

/// The movie box alone, chunks without offsets of their own at `mediaOffset`.
Bytes movieBox(const Mp4Spec& spec, std::uint64_t mediaOffset);

} // namespace mv::test
