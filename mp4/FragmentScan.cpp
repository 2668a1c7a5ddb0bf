#include "mp4/FragmentScan.h"

#include "mp4/SampleTable.h"

#include <algorithm>
#include <map>

namespace mv {

namespace {

/// What a fragment's track takes from trex where tfhd does not say.
struct SampleDefaults {
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
};

struct TrackTotals {
    SampleDefaults defaults;
    std::uint64_t samples = 0;
    std::uint64_t bytes = 0;
    std::uint64_t duration = 0;
    std::uint64_t indexedDuration = 0; ///< of sidx
    std::uint32_t indexTimeScale = 0;
};

using Totals = std::map<std::uint32_t, TrackTotals>; // by track id

void readDefaults(StructureReader& reader, const Box& trex, Totals& totals)
{
    ByteReader fields(payloadStart(reader, trex, 24));
    fields.skip(4);
    std::uint32_t id = fields.u32be();
    fields.skip(4);
    SampleDefaults defaults { fields.u32be(), fields.u32be() };
    if (fields.failed() || totals.size() >= MovieFacts::MaxTracks)
        return;
    totals[id].defaults = defaults;
}

/// The start of a traf box.
struct FragmentHeader {
    std::uint32_t id = 0;
    std::optional<std::uint32_t> duration;
    std::optional<std::uint32_t> size;
};

std::optional<FragmentHeader> readFragmentHeader(StructureReader& reader, const Box& traf)
{
    auto box = findChild(reader, traf, fourCC("tfhd"));
    if (!box)
        return std::nullopt;
    ByteReader fields(payloadStart(reader, *box, 40));
    std::uint32_t flags = fields.u32be() & 0xFFFFFF;
    FragmentHeader header { .id = fields.u32be() };
    if (flags & 0x1) // base data offset
        fields.skip(8);
    if (flags & 0x2) // sample description index
        fields.skip(4);
    if (flags & 0x8)
        header.duration = fields.u32be();
    if (flags & 0x10)
        header.size = fields.u32be();
    if (fields.failed())
        return std::nullopt;
    return header;
}

void addRun(StructureReader& reader, const Box& trun, const SampleDefaults& defaults, TrackTotals& totals)
{
    ByteReader fields(payloadStart(reader, trun, 16));
    std::uint32_t flags = fields.u32be() & 0xFFFFFF;
    std::uint64_t count = fields.u32be();
    if (fields.failed())
        return;
    std::uint64_t header = 8 + (flags & 0x1 ? 4 : 0) + (flags & 0x4 ? 4 : 0);
    std::size_t rowSize = 0;
    for (std::uint32_t field : { 0x100u, 0x200u, 0x400u, 0x800u }) // duration, size, flags, composition offset
        rowSize += flags & field ? 4 : 0;
    if (rowSize && trun.payloadSize() >= header)
        count = std::min(count, (trun.payloadSize() - header) / rowSize);
    totals.samples = saturatingAdd(totals.samples, count);
    if (!(flags & 0x100))
        totals.duration = saturatingAdd(totals.duration, count * defaults.duration);
    if (!(flags & 0x200))
        totals.bytes = saturatingAdd(totals.bytes, count * defaults.size);
    if (!(flags & 0x300) || trun.payloadSize() < header)
        return;
    std::uint64_t offset = trun.payloadOffset() + header;
    while (count > 0) {
        std::uint64_t rows = std::min<std::uint64_t>(count, StructureReader::WindowSize / rowSize);
        ByteReader table(reader.peek(offset, static_cast<std::size_t>(rows) * rowSize));
        if (table.size() == 0)
            return;
        for (std::uint64_t i = 0; i < rows; ++i) {
            if (flags & 0x100)
                totals.duration = saturatingAdd(totals.duration, table.u32be());
            if (flags & 0x200)
                totals.bytes = saturatingAdd(totals.bytes, table.u32be());
            table.skip((flags & 0x400 ? 4 : 0) + (flags & 0x800 ? 4 : 0));
        }
        offset += rows * rowSize;
        count -= rows;
    }
}

void addFragment(StructureReader& reader, const Box& moof, Totals& totals)
{
    BoxWalker walker(reader, moof);
    while (auto traf = walker.next()) {
        if (traf->type != fourCC("traf"))
            continue;
        auto header = readFragmentHeader(reader, *traf);
        auto track = header ? totals.find(header->id) : totals.end();
        if (track == totals.end())
            continue;
        SampleDefaults defaults = track->second.defaults;
        defaults.duration = header->duration.value_or(defaults.duration);
        defaults.size = header->size.value_or(defaults.size);
        BoxWalker runs(reader, *traf);
        while (auto run = runs.next()) {
            if (run->type == fourCC("trun"))
                addRun(reader, *run, defaults, track->second);
        }
    }
}

void addIndex(StructureReader& reader, const Box& sidx, Totals& totals)
{
    ByteReader fields(payloadStart(reader, sidx, StructureReader::WindowSize));
    std::uint8_t version = fields.u8();
    fields.skip(3);
    auto track = totals.find(fields.u32be());
    if (track == totals.end())
        return;
    std::uint32_t timeScale = fields.u32be();
    fields.skip(version == 0 ? 8 : 16);
    fields.skip(2);
    std::uint16_t count = fields.u16be();
    for (std::uint16_t i = 0; i < count && !fields.failed(); ++i) {
        fields.skip(4);
        track->second.indexedDuration = saturatingAdd(track->second.indexedDuration, fields.u32be());
        fields.skip(4);
    }
    track->second.indexTimeScale = timeScale;
}

/// `ticks` of one time scale in another, rounded down; 0 without a scale.
std::uint64_t rescaled(std::uint64_t ticks, std::uint32_t from, std::uint32_t to)
{
    if (from == 0)
        return 0;
    return saturatingAdd(saturatingMultiply(ticks / from, to), ticks % from * to / from);
}

std::uint64_t movieExtendsDuration(StructureReader& reader, const Box& mvex)
{
    auto box = findChild(reader, mvex, fourCC("mehd"));
    if (!box)
        return 0;
    ByteReader fields(payloadStart(reader, *box, 12));
    std::uint8_t version = fields.u8();
    fields.skip(3);
    return version == 1 ? fields.u64be() : fields.u32be();
}

void addTotals(TrackFacts& track, const TrackTotals& totals, std::uint32_t movieTimeScale, std::uint64_t movieDuration)
{
    track.fragmentSamples = totals.samples;
    track.fragmentBytes = totals.bytes;
    // Some writers put the whole length into mdhd, others only that of the samples inside the movie box.
    std::uint64_t before = track.sampleCount ? track.mediaDuration : 0;
    track.mediaDuration = std::max(track.mediaDuration, saturatingAdd(before, totals.duration));
    if (track.mediaDuration == 0)
        track.mediaDuration = rescaled(totals.indexedDuration, totals.indexTimeScale, track.mediaTimeScale);
    if (track.mediaDuration == 0)
        track.mediaDuration = rescaled(movieDuration, movieTimeScale, track.mediaTimeScale);
}

} // namespace

void addFragments(StructureReader& reader, MovieFacts& facts)
{
    if (!facts.extendsBox)
        return;
    const Box& mvex = *facts.extendsBox;
    Totals totals;
    BoxWalker extends(reader, mvex);
    while (auto box = extends.next()) {
        if (box->type == fourCC("trex"))
            readDefaults(reader, *box, totals);
    }
    BoxWalker walker(reader, facts.movieBox.end(), reader.size());
    while (auto box = walker.next()) {
        if (box->type == fourCC("moof"))
            addFragment(reader, *box, totals);
        else if (box->type == fourCC("sidx"))
            addIndex(reader, *box, totals);
    }
    std::uint64_t movieDuration = movieExtendsDuration(reader, mvex);
    for (TrackFacts& track : facts.tracks) {
        addTotals(track, totals[track.id], facts.timeScale, movieDuration);
        // With samples in the movie box too, its headers may tell the length of those alone.
        bool partial = track.sampleCount != 0 && track.fragmentSamples != 0;
        if (partial || facts.duration == 0 || track.duration == 0) {
            track.duration
                = std::max(track.duration, rescaled(track.mediaDuration, track.mediaTimeScale, facts.timeScale));
        }
    }
    for (const TrackFacts& track : facts.tracks)
        facts.duration = std::max(facts.duration, track.duration);
}

} // namespace mv
