#include "service/isolated/StandIns.h"

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

} // namespace mv
