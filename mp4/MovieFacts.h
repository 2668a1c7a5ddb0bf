#pragma once

#include "Base/Core/Date.h"
#include "mp4/Box.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mv {

/// Where the boxes of a track's sample table lie; absent ones are not there.
struct SampleTableBoxes {
    std::optional<Box> sampleSizes; ///< stsz or stz2
    std::optional<Box> timeToSample; ///< stts
    std::optional<Box> sampleToChunk; ///< stsc
    std::optional<Box> chunkOffsets; ///< stco or co64
};

/// What a track's boxes say. Everything absent stays at its default.
struct TrackFacts {
    static constexpr std::uint32_t EnabledFlag = 1;

    std::uint32_t id = 0;
    std::uint32_t flags = 0; ///< of tkhd
    std::uint64_t duration = 0; ///< of tkhd, in the movie's time scale
    double width = 0; ///< of tkhd, before the matrix
    double height = 0;
    std::array<std::int32_t, 9> matrix {}; ///< a b u c d v x y w: 16.16, and 2.30 for u v w

    std::uint32_t handler = 0; ///< of mdia/hdlr: 'soun', 'vide', 'text', ...
    std::uint32_t mediaTimeScale = 0; ///< ticks per second; 0 as the file says it
    std::uint64_t mediaDuration = 0; ///< in mediaTimeScale ticks, fragments counted; 0: unknown

    std::vector<std::uint32_t> descriptionCodes; ///< of the sample descriptions, in order, at most MaxDescriptions
    std::uint32_t originalFormat = 0; ///< of a first description that is encrypted: the code before; 0: not stated
    std::vector<std::uint32_t> chapterTracks; ///< ids of those with the chapters' texts and pictures, at most 16
    std::uint8_t objectType = 0; ///< MPEG-4 object type of the first description (0x40: AAC), 0 without esds
    std::uint32_t statedBitRate = 0; ///< bits a second, as its decoder configuration has the average; 0: not stated
    // Of the first description; 0 for other kinds of tracks.
    std::uint16_t codedWidth = 0;
    std::uint16_t codedHeight = 0;
    std::uint16_t channels = 0;
    std::uint16_t bitsPerSample = 0;
    // Of the first description of sound, QuickTime's version 2 included, which leaves constants in the places above.
    std::uint32_t sampleRate = 0; ///< Hz; fractions cut off
    std::uint32_t soundChannels = 0;
    std::uint32_t soundBits = 0; ///< of a sample
    bool soundIsLittleEndian = false; ///< as an enda box says; of codes that leave it open
    std::uint32_t soundFlags = 0; ///< version 2's: 1 floating point, 2 big-endian, 4 signed; 0 elsewhere
    /// What a decoder is told, as stored: of esds its specific information, of the other kinds the whole box. Empty
    /// without one, and where it is longer than MaxDecoderConfig.
    Bytes decoderConfig;
    std::uint32_t samplesPerPacket = 0; ///< QuickTime sound description 1
    std::uint32_t bytesPerFrame = 0;

    std::uint32_t sampleCount = 0; ///< of stsz or stz2, without fragments
    SampleTableBoxes boxes;
    std::uint64_t fragmentSamples = 0; ///< in movie fragments
    std::uint64_t fragmentBytes = 0;

    static constexpr std::size_t MaxDescriptions = 256; ///< files have a handful
    static constexpr std::size_t MaxDecoderConfig = 128; ///< of sound; what pictures' decoders are told is not kept

    bool isEnabled() const { return flags & EnabledFlag; }
    /// Pixels as shown: the box that tkhd's size fills after its matrix (turned by 90 degrees: sides swapped). The
    /// size itself for a matrix of zeros.
    double displayWidth() const;
    double displayHeight() const;
};

/// What a movie's boxes say.
struct MovieFacts {
    Box movieBox;
    std::vector<Box> userDataBoxes; ///< the movie's udta boxes, where metadata lies; one in a sound file
    std::optional<Box> metaBox; ///< the movie's own, with QuickTime's keys
    std::optional<Box> extendsBox; ///< mvex, of a fragmented movie

    std::optional<Date> creationDate; ///< of mvhd; absent where the field is 0
    std::optional<Date> modificationDate;
    std::uint32_t timeScale = 0; ///< ticks per second
    std::uint64_t duration = 0; ///< in timeScale ticks; of a fragmented file at least its longest track
    std::uint32_t posterTime = 0; ///< in timeScale ticks; QuickTime's, 0 in other files
    std::optional<std::string> title; ///< iTunes item, QuickTime key or text, 3GPP title: the first there is; UTF-8

    std::vector<TrackFacts> tracks; ///< in the file's order, at most MaxTracks

    static constexpr std::size_t MaxTracks = 1024; ///< keeps a hostile file's list small; players stop at a few dozen
    static constexpr std::size_t MaxUserDataBoxes = 16;
};

/// Reads the facts of an MPEG-4, 3GP or QuickTime file, an ID3v2 tag in front of it passed over. Reads structure
/// only: of a file of any length some kilobytes, and the fragment headers of a fragmented one. Fails with Format
/// when there is no whole movie box with a movie header. Inside it, what is damaged or missing is left at its default.
Result<MovieFacts> readMovieFacts(StructureReader& reader);

/// Of a time field: seconds since 1904-01-01 UTC, 0 for unknown.
std::optional<Date> dateFromMovieTime(std::uint64_t seconds);

} // namespace mv
