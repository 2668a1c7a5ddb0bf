#include "tests/integration/Operations.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Mp4Maker.h"
#include "tests/support/WaveMaker.h"

namespace mv::test {

Bytes song()
{
    std::string sound = id3Tag(3, id3Frame(3, "TIT2", std::string(1, '\0') + "Tone")) + mpegFrames(40);
    return Bytes(sound.begin(), sound.end());
}

Bytes podcastSong()
{
    std::string latin1(1, '\0');
    std::string tag = id3Tag(3, id3Frame(3, "TGID", latin1 + "one") + id3Frame(3, "WFED", latin1 + "feed"));
    return Bytes(tag.begin(), tag.end());
}

namespace {

Bytes wave()
{
    WaveMaker maker;
    maker.format(1, 2, 44100, 16).sound(44100);
    return Bytes(maker.bytes().begin(), maker.bytes().end());
}

/// 2 x 2 pixels, 24 bits.
Bytes picture()
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.text("BM");
    for (std::uint32_t field : { 70u, 0u, 54u, 40u, 2u, 2u, 0x00180001u, 0u, 16u, 0u, 0u, 0u, 0u })
        out.u32le(field);
    bytes.resize(70, 0x55);
    return bytes;
}

Bytes movie()
{
    Mp4Spec spec;
    spec.items = textItem("\xA9nam", "Tone");
    return makeMp4(spec).bytes;
}

std::string recordText(WireReader reader)
{
    auto record = reader.optionalRecord();
    if (!record)
        return "nil";
    const Value* size = record->find(MediaDBCommonColumnFileSize);
    return "a record of " + std::to_string(record->size())
        + (size ? ", file size " + std::to_string(*size->integerValue()) : "");
}

std::string flagText(WireReader reader) { return reader.boolean() ? "true" : "false"; }
std::string numberText(WireReader reader) { return std::to_string(reader.integer()); }
std::string objectText(WireReader reader) { return reader.objectPath() == "/" ? "nil" : "an object"; }

void justPath(WireWriter& out, const std::string& path, const std::string&) { out.string(path); }

void newTitle(WireWriter& out, const std::string& path, std::int32_t mediaType)
{
    out.string(path).record({ { MediaDBCommonColumnMediaType, mediaType }, { MediaDBMusicColumnTitle, "New" } });
}

constexpr const char* Info = "Mivo.MVMediaInfoBuilder";
constexpr const char* Exporter = "MivoMP4Exporter_1._3._0._12062";
constexpr const char* ExporterBase = "Mivo.MVMP4ExporterBase";
constexpr const char* Tags = "MivoMediaTagUpdater_1._3._0._12062";
constexpr const char* TagBase = "Mivo.MVMediaTagBase";
constexpr const char* Encoder = "MivoMp3Encoder_1._3._0._12062";

} // namespace

const std::vector<Operation>& operations()
{
    static const std::vector<Operation> Operations {
        { "movie", "MivoAVParser_1._3._0._12062", Info, "build", ".m4a", movie, recordText, justPath },
        { "mp3", "MivoMP3Parser_1._3._0._12062", Info, "build", ".mp3", song, recordText, justPath },
        { "mp4", "MivoMP4Parser_1._3._0._12062", Info, "build", ".m4a", movie, recordText, justPath },
        { "audio", "MivoBasicAudioParser_1._3._0._12062", Info, "build", ".ogg", wave, recordText, justPath },
        { "image", "MivoImageParser_1._3._0._12062", Info, "build", ".bmp", picture, recordText, justPath },
        { "thumbnail", "MivoImageParser_1._3._0._12062", "Mivo.MVImageInfoBuilder", "makeThumbnailWithMaxSize", ".bmp",
            picture, recordText,
            [](WireWriter& out, const std::string& path, const std::string&) { out.string(path).realPair(8, 8); } },
        { "exif", "MivoExifExtractor_1._3._0._12062", "Mivo.MVExifExtractorBase", "extractExif", ".jpg", picture,
            objectText, justPath },
        { "podcast", Tags, TagBase, "podcastInfo", ".mp3", song, recordText, justPath },
        { "update-mp3", Tags, TagBase, "updateTagWithDictionary", ".mp3", song, flagText,
            [](WireWriter& out, const std::string& path, const std::string&) { newTitle(out, path, MVMediaTypeMP3); } },
        { "update-m4a", Tags, TagBase, "updateTagWithDictionary", ".m4a", movie, flagText,
            [](WireWriter& out, const std::string& path, const std::string&) { newTitle(out, path, MVMediaTypeM4A); } },
        { "alac", Exporter, ExporterBase, "isAlacAudio", ".m4a", movie, flagText, justPath },
        { "convert-from", Exporter, ExporterBase, "convertToAacWithDelegateFromPathToMp4PathBitrate", ".wav", wave,
            numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(path).string(other).integer(128000);
            } },
        { "convert-to", Exporter, ExporterBase, "convertToAacWithDelegateFromPathToMp4PathBitrate", ".wav", wave,
            numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(other).string(path).integer(128000);
            },
            wave },
        { "export-from", Exporter, ExporterBase, "exportWithDelegateFromPathToMp4Path", ".wav", wave, numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(path).string(other);
            } },
        { "export-to", Exporter, ExporterBase, "exportWithDelegateFromPathToMp4Path", ".mp3", song, numberText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.objectPath("/").string(other).string(path);
            },
            song },
        { "encode-from", Encoder, "Mivo.MVAudioEncoderBase", "encodeFileOutputFile", ".wav", wave, flagText,
            [](WireWriter& out, const std::string& path, const std::string& other) {
                out.string(path).string(other);
            } },
        { "encode-to", Encoder, "Mivo.MVAudioEncoderBase", "encodeFileOutputFile", ".wav", wave, flagText,
            [](WireWriter& out, const std::string& path, const std::string& other) { out.string(other).string(path); },
            wave },
    };
    return Operations;
}

} // namespace mv::test
