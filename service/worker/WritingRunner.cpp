#include "service/worker/WritingRunner.h"

#include "Base/Core/NSException.h"
#include "service/encoding/SoundEncoding.h"
#include "service/tagedit/TagEdit.h"
#include "service/tags/MediaTag.h"
#include "service/transcode/MP4ExporterImpl.h"
#include "service/transcode/Mp3EncodingJob.h"
#include "service/worker/RemoteDelegates.h"
#include "service/worker/RemotePlace.h"

namespace mv {

namespace {

bool updateTag(const WritingJob& job, HostLink& host)
{
    RemoteFile file(host, job.file);
    return MediaTag().updateTagWithDictionary(file, job.record);
}

/// Why it failed the host knows.
bool setTags(const WritingJob& job, HostLink& host)
{
    const Bytes* column = job.record.data(TagChangesColumn);
    auto changes = decodeTagChanges(column ? *column : Bytes());
    if (!changes)
        return false;
    RemoteFile file(host, job.file);
    TagEdit edit(*changes, std::string(job.file.path().lastPathComponent()));
    auto plan = [&](const InputFile& current) { return edit.plan(current); };
    return file.replace(plan, [&](const InputFile& made) { return edit.check(made); }).ok();
}

bool encode(const WritingJob& job, HostLink& host)
{
    RemoteListener listener(host);
    RemotePlace place(host, job.output);
    return standardEncoding()(job.record, listener, job.file, place);
}

std::int32_t exportOrConvert(const WritingJob& job, HostLink& host)
{
    RemoteDelegate remote(host);
    MVMP4ExporterDelegate* delegate = job.hasDelegate ? &remote : nullptr;
    auto place = std::make_shared<RemotePlace>(host, job.output);
    MP4ExporterImpl exporter;
    return job.operation == WritingOperation::ExportMovie
        ? exporter.exportWithDelegateFromPathToMp4Path(delegate, job.file, place)
        : exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(delegate, job.file, place, job.bitrate);
}

std::int32_t encodeAny(const WritingJob& job, HostLink& host)
{
    RemoteDelegate progress(host);
    auto problem = encodeSound(job.file, job.encoding, std::make_shared<RemotePlace>(host, job.output), progress);
    return problem ? static_cast<std::int32_t>(*problem) : 0;
}

WritingAnswer answerOf(const WritingJob& job, HostLink& host)
{
    switch (job.operation) {
    case WritingOperation::UpdateTag:
        return updateTag(job, host);
    case WritingOperation::SetTags:
        return setTags(job, host);
    case WritingOperation::EncodeMp3:
        return encode(job, host);
    case WritingOperation::ConvertToAac:
    case WritingOperation::ExportMovie:
        return exportOrConvert(job, host);
    case WritingOperation::EncodeSound:
        return encodeAny(job, host);
    }
    return false;
}

} // namespace

WritingAnswer runWritingJob(const WritingJob& job, HostLink& host)
{
    try {
        return answerOf(job, host);
    } catch (const NSException& exception) {
        return RaisedException { exception.name(), exception.reason() };
    } catch (const std::exception& problem) {
        return RaisedException { {}, problem.what() };
    }
}

} // namespace mv
