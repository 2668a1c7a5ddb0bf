#include "service/host/Services.h"

#include "service/encoder/MP3Encoder.h"
#include "service/host/adaptors/AudioEncoderAdaptor.h"
#include "service/host/adaptors/ExifExtractorAdaptor.h"
#include "service/host/adaptors/ImageInfoAdaptor.h"
#include "service/host/adaptors/MP4ExporterAdaptor.h"
#include "service/host/adaptors/MediaInfoAdaptor.h"
#include "service/host/adaptors/MediaTagAdaptor.h"
#include "service/image/ExifExtractor.h"
#include "service/image/UnifiedImageInfoBuider.h"
#include "service/include/ServiceNames.h"
#include "service/parsers/MP3Parser.h"
#include "service/parsers/MP4Parser.h"
#include "service/parsers/MVBasicAudioParser.h"
#include "service/parsers/QuickTimeAVParser.h"
#include "service/tags/MediaTag.h"
#include "service/transcode/MP4ExporterImpl.h"
#include "service/transcode/Mp3EncodingJob.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

template <class Adaptor, class Root> std::unique_ptr<ServedObject> makeRoot()
{
    return std::make_unique<Adaptor>(std::make_unique<Root>());
}

std::unique_ptr<ServedObject> makeEncoder()
{
    return std::make_unique<AudioEncoderAdaptor>(std::make_unique<MP3Encoder>(standardEncoding()));
}

// The texts are what clients' logs rely on, odd capitals included.
constexpr std::array Services {
    ServiceRow { AVParserService, "failed to register Mivo AV Parser", makeRoot<MediaInfoAdaptor, QuickTimeAVParser> },
    ServiceRow { MP3ParserService, "failed to register Mivo MP3 Parser", makeRoot<MediaInfoAdaptor, MP3Parser> },
    ServiceRow { ImageParserService, "failed to register Mivo Image Parser",
        makeRoot<ImageInfoAdaptor, UnifiedImageInfoBuilder> },
    ServiceRow {
        MediaTagUpdaterService, "failed to register Mivo Media Tag Updater", makeRoot<MediaTagAdaptor, MediaTag> },
    ServiceRow {
        MP4ExporterService, "failed to register Mivo MP4 Exporter", makeRoot<MP4ExporterAdaptor, MP4ExporterImpl> },
    ServiceRow { MP4ParserService, "failed to register Mivo MP4 Parser", makeRoot<MediaInfoAdaptor, MP4Parser> },
    ServiceRow {
        ExifExtractorService, "failed to register Mivo Exif Extractor", makeRoot<ExifExtractorAdaptor, ExifExtractor> },
    ServiceRow { Mp3EncoderService, "failed to register Mivo MP3 Encoder", makeEncoder },
    ServiceRow { BasicAudioParserService, "failed to register Mivo basicaudio parser",
        makeRoot<MediaInfoAdaptor, MVBasicAudioParser> },
};
static_assert(std::ranges::equal(Services, ServiceNames, {}, &ServiceRow::name), "published in the order of the names");

} // namespace

std::span<const ServiceRow> services() { return Services; }

} // namespace mv
