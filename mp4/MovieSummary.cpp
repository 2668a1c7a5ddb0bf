#include "mp4/MovieSummary.h"

#include "mp4/ChunkExtents.h"
#include "mp4/MoovEditor.h"
#include "mp4/MovieFacts.h"

#include <algorithm>

namespace mv {

namespace {

// Places that no byte of a file has.
constexpr std::uint64_t BehindTheEnd = UINT64_MAX;
constexpr std::uint64_t InNewBytes = UINT64_MAX - 1;

/// An edited box may be larger than one that can be edited: by padding, and by wide chunk offsets.
constexpr std::uint64_t MaxSummarizedMovie = 3 * MoovEditor::MaxMovieBoxBytes;

Result<std::vector<MovieSummary::Chunk>> chunksOf(StructureReader& reader, const Box& movie)
{
    std::vector<MovieSummary::Chunk> chunks;
    if (movie.size > MaxSummarizedMovie)
        return chunks;
    MV_TRY(bytes, reader.copy(movie.offset, movie.size));
    anyChunk(bytes, [&](const ChunkExtent& chunk) {
        bool isInMovieBox = chunk.begin >= movie.offset && chunk.begin < movie.end(); // of a damaged file
        if (chunk.begin < chunk.end && !isInMovieBox)
            chunks.push_back({ chunk.begin < reader.size() ? chunk.begin : BehindTheEnd, chunk.end - chunk.begin });
        return false;
    });
    return chunks;
}

} // namespace

Result<MovieSummary> MovieSummary::of(StructureReader& reader)
{
    MV_TRY(facts, readMovieFacts(reader));
    MovieSummary summary { .duration = facts.duration };
    for (const TrackFacts& track : facts.tracks)
        summary.tracks.push_back(
            { track.id, track.handler, track.mediaDuration, track.sampleCount, track.fragmentBytes });
    MV_TRY(items, readItems(reader, facts.userDataBoxes));
    summary.items = std::move(items);
    MV_TRY(chunks, chunksOf(reader, facts.movieBox));
    summary.chunks = std::move(chunks);
    return summary;
}

void MovieSummary::traceBack(const FileContent& outline)
{
    std::vector<std::uint64_t> ends;
    for (const FileSegment& segment : outline)
        ends.push_back((ends.empty() ? 0 : ends.back()) + segment.length);
    for (Chunk& chunk : chunks) {
        auto end = std::upper_bound(ends.begin(), ends.end(), chunk.place);
        if (end == ends.end())
            continue; // behind the end
        const FileSegment& segment = outline[static_cast<std::size_t>(end - ends.begin())];
        chunk.place = segment.isCopy ? segment.offset + segment.length - (*end - chunk.place) : InNewBytes;
    }
}

FileContent outlineOf(const FileContent& content)
{
    FileContent outline;
    for (const FileSegment& segment : content)
        outline.push_back({ segment.isCopy, segment.offset, segment.length, {} });
    return outline;
}

} // namespace mv
