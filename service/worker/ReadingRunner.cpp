#include "service/worker/ReadingRunner.h"

#include "Base/Core/NSException.h"
#include "service/image/ExifExtractor.h"
#include "service/image/PictureRenderer.h"
#include "service/image/UnifiedImageInfoBuider.h"
#include "service/parsers/MP3Parser.h"
#include "service/parsers/MP4Parser.h"
#include "service/parsers/MVBasicAudioParser.h"
#include "service/parsers/Preview.h"
#include "service/parsers/QuickTimeAVParser.h"
#include "service/tags/MediaTag.h"
#include "service/transcode/MP4ExporterImpl.h"
#include "service/worker/TagDumping.h"

#include <algorithm>
#include <new>

namespace mv {

namespace {

/// What is said of it is said to people, who cannot know what a library calls it.
std::optional<Record> previewOf(const OpenedFile& file, int side)
{
    try {
        return makePreview(file, side);
    } catch (const std::bad_alloc&) {
        return Record { { kPreviewProblem, "takes more memory than there is for it" } };
    }
}

ReadingAnswer answerOf(const ReadingJob& job)
{
    switch (job.operation) {
    case ReadingOperation::DescribeMovie:
        return QuickTimeAVParser().build(job.file);
    case ReadingOperation::DescribeMp3:
        return MP3Parser().build(job.file);
    case ReadingOperation::DescribeMp4:
        return MP4Parser().build(job.file);
    case ReadingOperation::DescribeAudio:
        return MVBasicAudioParser().build(job.file);
    case ReadingOperation::DescribePicture:
        return UnifiedImageInfoBuilder().build(job.file);
    case ReadingOperation::Thumbnail:
        return UnifiedImageInfoBuilder().makeThumbnailWithMaxSize(job.file, job.maximum);
    case ReadingOperation::Exif:
        return ExifExtractor().extractExif(job.file);
    case ReadingOperation::PodcastInfo:
        return MediaTag().podcastInfo(job.file);
    case ReadingOperation::HasAppleLossless:
        return MP4ExporterImpl().isAlacAudio(job.file);
    case ReadingOperation::RenderPicture:
        return renderPicture(job.file, job.rendering);
    case ReadingOperation::DumpTags:
        return dumpTags(job.file);
    case ReadingOperation::Preview:
        return previewOf(job.file, static_cast<int>(std::clamp(job.maximum.width, 1.0F, float { MaxPreviewSide })));
    }
    return std::optional<Record>();
}

} // namespace

ReadingAnswer runReadingJob(const ReadingJob& job)
{
    try {
        return answerOf(job);
    } catch (const NSException& exception) {
        return RaisedException { exception.name(), exception.reason() };
    } catch (const std::exception& problem) {
        return RaisedException { {}, problem.what() };
    }
}

} // namespace mv
