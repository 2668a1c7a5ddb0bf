#include "cli/MetadataUpdate.h"

#include "mp4/mp4.h"

namespace mv::cli {

Result<void> updateMetadata(const Path& path, MetadataEdit::Change change)
{
    auto file = EditableFile::at(path);
    MV_TRY(movie, MP4Modify(*file, 0));
    MetadataEdit edit(std::move(change));
    // Before the replacement, which would log what the command says itself.
    MV_TRY(planned, edit.plan(movie.reader()));
    if (!planned)
        return {};
    MV_TRY_VOID(file->replace([&](const InputFile& current) { return edit.plan(StructureReader::borrowing(current)); },
        [&](const InputFile& made) { return edit.check(StructureReader::borrowing(made)); }));
    return {};
}

} // namespace mv::cli
