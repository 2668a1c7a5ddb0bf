#include "service/host/adaptors/MediaTagAdaptor.h"

#include "Base/Media/MediaDB.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MediaTagBase::podcastInfo, SD_BUS_ARGS("s", path), SD_BUS_RESULT("aa{sv}", info),
        (servedMethod<MediaTagAdaptor, &MediaTagAdaptor::podcastInfo>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::MediaTagBase::updateTagWithDictionary, SD_BUS_ARGS("s", path, "a{sv}", record),
        SD_BUS_RESULT("b", updated), (servedMethod<MediaTagAdaptor, &MediaTagAdaptor::updateTagWithDictionary>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface Interfaces[] = { { wire::MediaTagBase::Interface, Members } };

/// A call without a path means the record's own; nil when there is neither.
Path pathOrRecordPath(const Path& path, const Record& record)
{
    const std::string* text = record.string(MediaDBCommonColumnFilePath);
    return path.isNil() && text ? Path(*text) : path;
}

} // namespace

std::span<const ServedInterface> MediaTagAdaptor::interfaces() const { return Interfaces; }

void MediaTagAdaptor::podcastInfo(Call& call)
{
    call.reply().optionalRecord(m_root->podcastInfo(OpenedFile::at(call.arguments().path())));
}

void MediaTagAdaptor::updateTagWithDictionary(Call& call)
{
    Path path = call.arguments().path();
    Record record = call.arguments().record();
    auto file = EditableFile::at(pathOrRecordPath(path, record));
    call.reply().boolean(m_root->updateTagWithDictionary(*file, record));
}

} // namespace mv
