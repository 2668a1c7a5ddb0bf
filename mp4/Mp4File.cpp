#include "mp4/mp4.h"

#include "Base/Core/Text.h"
#include "mp4/SampleTable.h"

#include <algorithm>

namespace mv {

namespace {

/// What each track is asked for by. There are few tracks.
std::vector<MP4TrackId> uniqueIds(const std::vector<TrackFacts>& tracks)
{
    std::vector<MP4TrackId> ids;
    auto isGiven = [&](MP4TrackId id) { return std::find(ids.begin(), ids.end(), id) != ids.end(); };
    auto isInFile = [&](MP4TrackId id) {
        return std::any_of(tracks.begin(), tracks.end(), [&](const TrackFacts& track) { return track.id == id; });
    };
    MP4TrackId unused = UINT32_MAX;
    for (const TrackFacts& track : tracks) {
        MP4TrackId id = track.id;
        if (id == MP4_INVALID_TRACK_ID || isGiven(id)) {
            while (isInFile(unused))
                --unused;
            id = unused--;
        }
        ids.push_back(id);
    }
    return ids;
}

} // namespace

struct Mp4File::State {
    StructureReader reader;
    MovieFacts facts;
    std::vector<MP4TrackId> ids = uniqueIds(facts.tracks);
    std::optional<MP4ItmfItemList> items = std::nullopt; // read when first asked for
};

Mp4File::Mp4File(std::unique_ptr<State> state)
    : m_state(std::move(state))
{
}

Mp4File::Mp4File(Mp4File&&) noexcept = default;
Mp4File& Mp4File::operator=(Mp4File&&) noexcept = default;
Mp4File::~Mp4File() = default;

Result<Mp4File> Mp4File::open(StructureReader reader)
{
    MV_TRY(facts, readMovieFacts(reader));
    return Mp4File(std::make_unique<State>(State { std::move(reader), std::move(facts) }));
}

const MovieFacts& Mp4File::facts() const { return m_state->facts; }
const std::vector<MP4TrackId>& Mp4File::trackIds() const { return m_state->ids; }
StructureReader& Mp4File::reader() { return m_state->reader; }

const MP4ItmfItemList& Mp4File::items()
{
    if (!m_state->items) {
        auto items = readItems(m_state->reader, m_state->facts.userDataBoxes);
        m_state->items = items.ok() ? std::move(*items) : MP4ItmfItemList {};
    }
    return *m_state->items;
}

Result<Mp4File> MP4Read(Result<SharedSource> content)
{
    MV_TRY(source, std::move(content));
    return Mp4File::open(StructureReader(std::move(source)));
}

Result<Mp4File> MP4Modify(const EditableFile& file, std::uint32_t)
{
    MV_TRY(content, file.opened().content());
    MV_TRY_VOID(file.writable());
    return MP4Read(std::move(content));
}

namespace {

const TrackFacts* findTrack(const Mp4File& file, MP4TrackId id)
{
    const std::vector<MP4TrackId>& ids = file.trackIds();
    auto place = std::find(ids.begin(), ids.end(), id);
    return place != ids.end() ? &file.facts().tracks[static_cast<std::size_t>(place - ids.begin())] : nullptr;
}

} // namespace

MP4TrackId MP4FindTrackId(const Mp4File& file, std::uint16_t index, const char* type, std::uint8_t subType)
{
    const std::vector<TrackFacts>& tracks = file.facts().tracks;
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        bool wanted = (!type || fourCharacterText(tracks[i].handler) == type)
            && (subType == 0 || tracks[i].objectType == subType);
        if (wanted && index-- == 0)
            return file.trackIds()[i];
    }
    return MP4_INVALID_TRACK_ID;
}

std::uint64_t MP4GetTrackDuration(const Mp4File& file, MP4TrackId id)
{
    const TrackFacts* track = findTrack(file, id);
    return track ? track->mediaDuration : 0;
}

std::uint32_t MP4GetTrackTimeScale(const Mp4File& file, MP4TrackId id)
{
    const TrackFacts* track = findTrack(file, id);
    return track ? track->mediaTimeScale : 0;
}

std::uint32_t MP4GetTrackBitRate(Mp4File& file, MP4TrackId id)
{
    const TrackFacts* track = findTrack(file, id);
    if (!track || track->statedBitRate != 0)
        return track ? track->statedBitRate : 0;
    std::uint64_t bytes = saturatingAdd(tableBytes(file.reader(), *track), track->fragmentBytes);
    return averageBitRate(bytes, track->mediaTimeScale, track->mediaDuration);
}

MP4ItmfItemList MP4ItmfGetItems(Mp4File& file) { return file.items(); }

} // namespace mv
