#include "service/tags/MovieBehindTag.h"

#include "mp4/ChunkOffsets.h"
#include "mp4/MoovEditor.h"
#include "mp4/MovieFacts.h"

#include <algorithm>

namespace mv {

namespace {

std::optional<Box> findMovieBox(StructureReader& reader, std::uint64_t begin)
{
    BoxWalker walker(reader, begin, reader.size());
    while (auto box = walker.next()) {
        if (box->type == fourCC("moov") && !box->overruns)
            return box;
    }
    return std::nullopt;
}

/// The movie box and the other places that hold offsets, in the order of the file.
Result<std::vector<Patch>> movedOffsets(StructureReader& reader, const Box& movie, const Id3TagLayout& layout)
{
    if (movie.size > MoovEditor::MaxMovieBoxBytes)
        return Error { Error::Kind::Limit, "movie box too large" };
    MV_TRY(movieBytes, reader.copy(movie.offset, movie.size));
    // Modulo 2^64: a tag that shrinks moves everything towards the front.
    std::uint64_t delta = layout.newSize - layout.oldSize;
    MV_TRY_VOID(shiftChunkOffsets(movieBytes, layout.oldSize, delta));
    MV_TRY(patches, shiftedFileOffsets(reader, layout.oldSize, layout.oldSize, delta));
    patches.push_back({ movie.offset, std::move(movieBytes) });
    std::sort(patches.begin(), patches.end(), [](const Patch& a, const Patch& b) { return a.offset < b.offset; });
    return patches;
}

} // namespace

Result<FileContent> contentBehindTag(const InputFile& current, const Id3TagLayout& layout)
{
    std::uint64_t position = layout.oldSize;
    FileContent content;
    auto copyTo = [&](std::uint64_t end) {
        if (position < end)
            content.push_back(FileSegment::copy(position, end - position));
        position = end;
    };
    StructureReader reader = StructureReader::borrowing(current);
    auto movie = layout.newSize == layout.oldSize ? std::nullopt : findMovieBox(reader, layout.oldSize);
    if (movie) {
        MV_TRY(patches, movedOffsets(reader, *movie, layout));
        for (Patch& patch : patches) {
            copyTo(patch.offset);
            position += patch.bytes.size();
            content.push_back(FileSegment::literal(std::move(patch.bytes)));
        }
    }
    copyTo(current.size());
    return content;
}

std::optional<MovieSummary> MovieSummary::of(const InputFile& file)
{
    StructureReader reader = StructureReader::borrowing(file);
    auto facts = readMovieFacts(reader);
    auto items = facts.ok() ? readItems(reader, facts->movieBox) : Result<MP4ItmfItemList>(facts.error());
    if (!items.ok())
        return std::nullopt;
    MovieSummary summary { {}, std::move(*items) };
    for (const TrackFacts& track : facts->tracks)
        summary.tracks.push_back({ track.id, track.mediaDuration, track.sampleCount, track.fragmentBytes });
    return summary;
}

} // namespace mv
