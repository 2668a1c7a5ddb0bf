#include "service/host/Services.h"

#include "service/host/adaptors/AudioEncoderAdaptor.h"
#include "service/host/adaptors/ExifExtractorAdaptor.h"
#include "service/host/adaptors/ImageInfoAdaptor.h"
#include "service/host/adaptors/MP4ExporterAdaptor.h"
#include "service/host/adaptors/MediaInfoAdaptor.h"
#include "service/host/adaptors/MediaTagAdaptor.h"
#include "service/image/ExifExtractor.h"
#include "service/image/UnifiedImageInfoBuider.h"
#include "service/parsers/MP3Parser.h"
#include "service/parsers/MP4Parser.h"
#include "service/parsers/MVBasicAudioParser.h"
#include "service/parsers/QuickTimeAVParser.h"
#include "service/tags/MediaTag.h"
#include "service/transcode/MP3Encoder.h"
#include "service/transcode/MP4ExporterImpl.h"

#include <array>

namespace mv {

namespace {

template <class Adaptor, class Root> std::unique_ptr<ServedObject> makeRoot()
{
    return std::make_unique<Adaptor>(std::make_unique<Root>());
}

// Order, names and texts are what clients and their logs rely on, odd capitals included.
constexpr std::array kServices {
    ServiceRow { "MivoAVParser_1.3.0.12062", "failed to register Mivo AV Parser",
        makeRoot<MediaInfoAdaptor, QuickTimeAVParser> },
    ServiceRow {
        "MivoMP3Parser_1.3.0.12062", "failed to register Mivo MP3 Parser", makeRoot<MediaInfoAdaptor, MP3Parser> },
    ServiceRow { "MivoImageParser_1.3.0.12062", "failed to register Mivo Image Parser",
        makeRoot<ImageInfoAdaptor, UnifiedImageInfoBuilder> },
    ServiceRow { "MivoMediaTagUpdater_1.3.0.12062", "failed to register Mivo Media Tag Updater",
        makeRoot<MediaTagAdaptor, MediaTag> },
    ServiceRow { "MivoMP4Exporter_1.3.0.12062", "failed to register Mivo MP4 Exporter",
        makeRoot<MP4ExporterAdaptor, MP4ExporterImpl> },
    ServiceRow {
        "MivoMP4Parser_1.3.0.12062", "failed to register Mivo MP4 Parser", makeRoot<MediaInfoAdaptor, MP4Parser> },
    ServiceRow { "MivoExifExtractor_1.3.0.12062", "failed to register Mivo Exif Extractor",
        makeRoot<ExifExtractorAdaptor, ExifExtractor> },
    ServiceRow { "MivoMp3Encoder_1.3.0.12062", "failed to register Mivo MP3 Encoder",
        makeRoot<AudioEncoderAdaptor, MP3Encoder> },
    ServiceRow { "MivoBasicAudioParser_1.3.0.12062", "failed to register Mivo basicaudio parser",
        makeRoot<MediaInfoAdaptor, MVBasicAudioParser> },
};

} // namespace

std::span<const ServiceRow> services() { return kServices; }

} // namespace mv
