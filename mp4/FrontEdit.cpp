#include "mp4/FrontEdit.h"

#include "mp4/ChunkOffsets.h"
#include "mp4/MoovEditor.h"

namespace mv {

namespace {

/// The movie box and the other places that hold offsets.
Result<std::vector<Patch>> movedOffsets(StructureReader& reader, std::uint64_t first, std::uint64_t delta)
{
    auto movie = delta == 0 ? std::nullopt : findMovieBox(reader, first);
    if (!movie)
        return std::vector<Patch> {};
    if (movie->size > MoovEditor::MaxMovieBoxBytes)
        return Error { Error::Kind::Limit, "movie box too large" };
    MV_TRY(movieBytes, reader.copy(movie->offset, movie->size));
    MV_TRY_VOID(shiftChunkOffsets(movieBytes, first, delta));
    MV_TRY(patches, shiftedFileOffsets(reader, first, first, delta));
    patches.push_back({ movie->offset, std::move(movieBytes) });
    return patches;
}

std::optional<MovieSummary> summaryOf(StructureReader& file)
{
    auto summary = MovieSummary::of(file);
    return summary.ok() ? std::optional(std::move(*summary)) : std::nullopt;
}

} // namespace

Result<FileContent> FrontEdit::plan(StructureReader current, std::uint64_t oldSize, Bytes front)
{
    m_movie = summaryOf(current);
    // Modulo 2^64: a front that shrinks moves everything towards the start.
    MV_TRY(patches, movedOffsets(current, oldSize, front.size() - oldSize));
    patches.insert(patches.begin(), Patch { 0, std::move(front), oldSize });
    FileContent content = patchedContent(std::move(patches), current.size());
    m_outline = outlineOf(content);
    return content;
}

Result<void> FrontEdit::check(StructureReader made) const
{
    auto movie = summaryOf(made);
    if (movie)
        movie->traceBack(m_outline);
    if (movie != m_movie)
        return Error { Error::Kind::Format, "the movie behind the new tag is not what it was" };
    return {};
}

} // namespace mv
