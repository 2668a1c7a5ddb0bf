#include "service/isolated/StandIns.h"

#include "service/include/MVAudioEncoderBase.h"

namespace mv {

namespace {

/// The answer of its kind; its empty value where the file has ended the worker.
template <class Answer> Answer ask(WorkerHost& workers, ReadingJob job)
{
    auto answer = workers.read(std::move(job));
    return answer ? std::get<Answer>(std::move(*answer)) : Answer {};
}

} // namespace

std::optional<Record> IsolatedMediaInfoBuilder::build(const OpenedFile& file)
{
    return ask<std::optional<Record>>(m_workers, { .operation = m_operation, .file = file });
}

std::optional<Record> IsolatedImageInfoBuilder::build(const OpenedFile& file)
{
    return ask<std::optional<Record>>(m_workers, { .operation = ReadingOperation::DescribePicture, .file = file });
}

std::optional<Record> IsolatedImageInfoBuilder::makeThumbnailWithMaxSize(const OpenedFile& file, FloatSize maximum)
{
    return ask<std::optional<Record>>(
        m_workers, { .operation = ReadingOperation::Thumbnail, .file = file, .maximum = maximum });
}

std::shared_ptr<MVExifInfo> IsolatedExifExtractor::extractExif(const OpenedFile& file)
{
    return ask<std::shared_ptr<MVExifInfo>>(m_workers, { .operation = ReadingOperation::Exif, .file = file });
}

std::optional<Record> IsolatedMediaTag::podcastInfo(const OpenedFile& file)
{
    return ask<std::optional<Record>>(m_workers, { .operation = ReadingOperation::PodcastInfo, .file = file });
}

bool IsolatedMediaTag::updateTagWithDictionary(EditableFile& file, const Record& record)
{
    WritingJob job { .operation = WritingOperation::UpdateTag, .file = file.opened(), .record = record };
    return std::get<bool>(m_workers.write(std::move(job), { .file = &file }));
}

std::int32_t IsolatedMP4Exporter::exportWithDelegateFromPathToMp4Path(
    MVMP4ExporterDelegate* delegate, const OpenedFile& source, const SharedPlace& destination)
{
    MutexLock lock(s_jobLock);
    WritingJob job { .operation = WritingOperation::ExportMovie, .file = source };
    return std::get<std::int32_t>(
        m_workers.write(std::move(job), { .place = destination.get(), .delegate = delegate }));
}

std::int32_t IsolatedMP4Exporter::convertToAacWithDelegateFromPathToMp4PathBitrate(
    MVMP4ExporterDelegate* delegate, const OpenedFile& source, const SharedPlace& destination, std::int32_t bitrate)
{
    MutexLock lock(s_jobLock);
    WritingJob job { .operation = WritingOperation::ConvertToAac, .file = source, .bitrate = bitrate };
    return std::get<std::int32_t>(
        m_workers.write(std::move(job), { .place = destination.get(), .delegate = delegate }));
}

bool IsolatedMP4Exporter::isAlacAudio(const OpenedFile& file)
{
    MutexLock lock(s_jobLock);
    return ask<bool>(m_workers, { .operation = ReadingOperation::HasAppleLossless, .file = file });
}

EncodingRun isolatedEncoding(WorkerHost& workers)
{
    return
        [&workers](const Record& attributes, EncodingListener& listener, const OpenedFile& input, OutputPlace& output) {
            WritingJob job { .operation = WritingOperation::EncodeMp3, .file = input, .record = attributes };
            try {
                return std::get<bool>(workers.write(std::move(job), { .place = &output, .listener = &listener }));
            } catch (const WorkersUnavailable&) {
                // A job on a thread has no other way to say that it will never begin.
                listener.failed(MVAudioEncoderErrorEncoder);
                throw;
            }
        };
}

} // namespace mv
