#include "service/worker/MediaRunner.h"

#include "Base/Core/LateLoading.h"
#include "Base/Core/NSLog.h"
#include "facts/reading/Describe.h"
#include "service/worker/MediaProblems.h"
#include "service/worker/MediaThumbnail.h"

#include <new>

namespace mv {

namespace {

/// An answer has room for so much; pictures behind that are left out.
void limitPictures(std::vector<FactPicture>& pictures)
{
    constexpr std::size_t MaxBytes = std::size_t { 32 } << 20;
    std::size_t bytes = 0;
    std::erase_if(pictures, [&](const FactPicture& picture) {
        bool fits = !picture.data.empty() && picture.data.size() <= MaxBytes - bytes;
        bytes += fits ? picture.data.size() : 0;
        return !fits;
    });
}

MediaResult describeFile(const OpenedFile& file, bool pictures)
{
    auto facts = describe(file, file.path().text(), { .pictures = pictures });
    if (!facts)
        return mediaProblemOf(facts.error());
    limitPictures(facts->pictures);
    return std::move(*facts);
}

MediaResult resultOf(const MediaJob& job, const OpenedFile& file)
{
    switch (job.operation) {
    case MediaOperation::Describe:
    case MediaOperation::DescribeWithPictures:
        return describeFile(file, job.operation == MediaOperation::DescribeWithPictures);
    case MediaOperation::Thumbnail:
        return makeMediaThumbnail(file, job.thumbnail);
    }
    return MediaProblem::Failed;
}

MediaResult guardedResultOf(const MediaJob& job, const OpenedFile& file)
{
    try {
        return resultOf(job, file);
    } catch (const LibraryNotLoaded&) {
        return MediaProblem::NeedsMedia;
    } catch (const std::bad_alloc&) {
        return MediaProblem::NoMemory;
    } catch (const std::exception& problem) {
        NSLog("a file could not be read: %s", problem.what());
        return MediaProblem::Failed;
    }
}

} // namespace

std::vector<MediaResult> runMediaJob(const MediaJob& job)
{
    std::vector<MediaResult> results;
    results.reserve(job.files.size());
    for (const OpenedFile& file : job.files)
        results.push_back(guardedResultOf(job, file));
    return results;
}

} // namespace mv
