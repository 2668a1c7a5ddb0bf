#include "service/host/Services.h"

#include "service/encoder/MP3Encoder.h"
#include "service/host/adaptors/AudioEncoderAdaptor.h"
#include "service/host/adaptors/ExifExtractorAdaptor.h"
#include "service/host/adaptors/ImageInfoAdaptor.h"
#include "service/host/adaptors/MP4ExporterAdaptor.h"
#include "service/host/adaptors/Media1Adaptor.h"
#include "service/host/adaptors/MediaInfoAdaptor.h"
#include "service/host/adaptors/MediaTagAdaptor.h"
#include "service/include/ServiceNames.h"
#include "service/isolated/StandIns.h"

namespace mv {

namespace {

using MakeRoot = std::function<std::unique_ptr<ServedObject>()>;

/// An adaptor before what stands for its service's root object.
template <class Adaptor, class StandIn, class... Arguments> MakeRoot standingIn(WorkerHost& workers, Arguments... more)
{
    return [&workers, more...] { return std::make_unique<Adaptor>(std::make_unique<StandIn>(workers, more...)); };
}

MakeRoot describing(WorkerHost& workers, ReadingOperation operation)
{
    return standingIn<MediaInfoAdaptor, IsolatedMediaInfoBuilder>(workers, operation);
}

} // namespace

// The texts are what clients' logs rely on, odd capitals included.
std::vector<ServiceRow> services(WorkerHost& workers, Activity* activity)
{
    auto jobHold = [activity] { return activity ? activity->begin(Activity::Kind::Work) : nullptr; };
    return {
        { AVParserService, "failed to register Mivo AV Parser", describing(workers, ReadingOperation::DescribeMovie) },
        { MP3ParserService, "failed to register Mivo MP3 Parser", describing(workers, ReadingOperation::DescribeMp3) },
        { ImageParserService, "failed to register Mivo Image Parser",
            standingIn<ImageInfoAdaptor, IsolatedImageInfoBuilder>(workers) },
        { MediaTagUpdaterService, "failed to register Mivo Media Tag Updater",
            standingIn<MediaTagAdaptor, IsolatedMediaTag>(workers) },
        { MP4ExporterService, "failed to register Mivo MP4 Exporter",
            standingIn<MP4ExporterAdaptor, IsolatedMP4Exporter>(workers) },
        { MP4ParserService, "failed to register Mivo MP4 Parser", describing(workers, ReadingOperation::DescribeMp4) },
        { ExifExtractorService, "failed to register Mivo Exif Extractor",
            standingIn<ExifExtractorAdaptor, IsolatedExifExtractor>(workers) },
        { Mp3EncoderService, "failed to register Mivo MP3 Encoder",
            [&workers, jobHold] {
                return std::make_unique<AudioEncoderAdaptor>(
                    std::make_unique<MP3Encoder>(isolatedEncoding(workers), jobHold));
            } },
        // Before the last, so that whoever has waited for that finds everything. A process that finds the first name
        // taken has not asked for this one.
        { Media1Service, "failed to register Mivo.Media1",
            [&workers, jobHold] { return std::make_unique<Media1Adaptor>(workers, jobHold); }, false },
        { BasicAudioParserService, "failed to register Mivo basicaudio parser",
            describing(workers, ReadingOperation::DescribeAudio) },
    };
}

} // namespace mv
