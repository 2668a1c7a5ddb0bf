#include "mp4/ChunkExtents.h"

#include "mp4/ChunkOffsets.h"
#include "mp4/SampleTable.h"
#include "mp4/TrackReader.h"

namespace mv {

namespace {

/// How many samples each chunk has: rows of stsc, each of which counts until the next one's first chunk.
class ChunkRuns {
public:
    explicit ChunkRuns(ByteView stsc)
        : m_fields(stsc)
    {
        m_fields.skip(4);
        m_left = m_fields.u32be();
        readNext();
    }

    /// Of that chunk, the first being 1; to be asked in turn.
    std::uint32_t samplesOf(std::uint64_t chunk)
    {
        while (m_next.firstChunk <= chunk) {
            m_samples = m_next.samples;
            readNext();
        }
        return m_samples;
    }

private:
    struct Run {
        std::uint64_t firstChunk = UINT64_MAX; // no chunk's number: there is no next run
        std::uint32_t samples = 0;
    };

    void readNext()
    {
        Run run;
        if (m_left > 0) {
            --m_left;
            run = { m_fields.u32be(), m_fields.u32be() };
            m_fields.skip(4); // the sample description
        }
        m_next = m_fields.failed() ? Run {} : run;
    }

    ByteReader m_fields;
    std::uint32_t m_left = 0;
    std::uint32_t m_samples = 0;
    Run m_next;
};

ByteView contentOf(ByteView movieBox, const Box& box)
{
    return movieBox.subspan(static_cast<std::size_t>(box.payloadOffset()), static_cast<std::size_t>(box.payloadSize()));
}

/// A box at the end of a path of types.
std::optional<Box> findBelow(StructureReader& reader, const Box& parent, std::initializer_list<std::uint32_t> path)
{
    std::optional<Box> box = parent;
    for (std::uint32_t type : path) {
        box = findChild(reader, *box, type);
        if (!box)
            break;
    }
    return box;
}

bool isElsewhere(StructureReader& reader, const Box& trak)
{
    auto dref = findBelow(reader, trak, { fourCC("mdia"), fourCC("minf"), fourCC("dinf"), fourCC("dref") });
    return dref && refersOutside(reader, *dref);
}

bool anyChunkOf(ByteView movieBox, const TrackFacts& track, const std::function<bool(const ChunkExtent&)>& test)
{
    const SampleTableBoxes& boxes = track.boxes;
    StructureReader reader(movieBox);
    auto offsets = boxes.chunkOffsets ? offsetTable(reader, *boxes.chunkOffsets) : std::nullopt;
    ChunkRuns runs(boxes.sampleToChunk ? contentOf(movieBox, *boxes.sampleToChunk) : ByteView {});
    SampleRange samples;
    for (std::uint64_t i = 0; offsets && i < offsets->count; ++i) {
        samples.count = runs.samplesOf(i + 1);
        std::uint64_t begin = rowAt(movieBox, *offsets, i);
        if (test({ begin, saturatingAdd(begin, tableBytes(reader, track, samples)) }))
            return true;
        samples.first += samples.count;
    }
    return false;
}

} // namespace

bool anyChunk(ByteView movieBox, const std::function<bool(const ChunkExtent&)>& test)
{
    StructureReader reader(movieBox);
    auto movie = BoxWalker(reader, 0, movieBox.size()).next();
    if (!movie)
        return false;
    BoxWalker walker(reader, *movie);
    while (auto box = walker.next()) {
        bool isHere = box->type == fourCC("trak") && !isElsewhere(reader, *box);
        if (isHere && anyChunkOf(movieBox, readTrack(reader, *box), test))
            return true;
    }
    return false;
}

} // namespace mv
