#include "cli/MetadataUpdate.h"

#include "mp4/mp4.h"
#include "system/FileReplacement.h"

namespace mv::cli {

Result<void> updateMetadata(const Path& path, MetadataEdit::Change change)
{
    MV_TRY(file, MP4Modify(path, 0));
    MetadataEdit edit(std::move(change));
    // Before the replacement, which would log what the command says itself.
    MV_TRY(planned, edit.plan(file.reader()));
    if (!planned)
        return {};
    MV_TRY_VOID(FileReplacement::perform(
        path, [&](const InputFile& current) { return edit.plan(StructureReader::borrowing(current)); },
        [&](const InputFile& made) { return edit.check(StructureReader::borrowing(made)); }));
    return {};
}

} // namespace mv::cli
