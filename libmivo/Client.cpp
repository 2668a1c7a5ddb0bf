#include <mivo/Client.h>

#include "Base/Media/MVMediaTypeReader.h"
#include "client/ExifClient.h"
#include "client/ExporterClient.h"
#include "client/ImageClient.h"
#include "client/ResultCodes.h"
#include "client/TagClient.h"
#include "client/TagFields.h"
#include "libmivo/ClientContent.h"
#include "libmivo/EncodingRun.h"
#include "libmivo/ExifRecord.h"
#include "libmivo/ProgressCall.h"
#include "libmivo/WholeName.h"

namespace mivo {

namespace {

// What the exporter takes; of another rate it would make one of its own.
constexpr int LowestBitrate = 1000;
constexpr int HighestBitrate = 256'000;

std::string_view serviceFor(Describer describer, const mv::Path& path)
{
    switch (describer) {
    case Describer::MP3:
        return mv::MP3ParserService;
    case Describer::MP4:
        return mv::MP4ParserService;
    case Describer::BasicAudio:
        return mv::BasicAudioParserService;
    case Describer::AudioVideo:
        return mv::AVParserService;
    case Describer::Image:
        return mv::ImageParserService;
    case Describer::ByName:
        break;
    }
    return mv::describingService(path);
}

class ExportDelegate final : public mv::MVMP4ExporterDelegate {
public:
    explicit ExportDelegate(const Progress& progress)
        : m_progress(progress)
    {
    }

    bool MP4ExporterProgress(std::int32_t percent) override
    {
        bool goesOn = m_progress.goesOn(percent);
        m_isCancelled = m_isCancelled || !goesOn;
        return goesOn;
    }

    /// Of a job that ended with this code.
    JobEnd end(std::int32_t code) const
    {
        m_progress.rethrow();
        if (code == 0)
            return JobEnd::Done;
        if (m_isCancelled)
            return JobEnd::Cancelled;
        throw Error(Error::Kind::JobFailed, mv::sentenceForCode(mv::exporterCodes(), code), {}, code);
    }

private:
    ProgressCall m_progress;
    bool m_isCancelled = false;
};

template <class Job> JobEnd runExport(ClientContent& client, const Progress& progress, const Job& job)
{
    ExportDelegate delegate(progress);
    return delegate.end(client.call([&] {
        mv::ExporterClient exporter(client.bus());
        return job(exporter, progress ? &delegate : nullptr);
    }));
}

/// What the tag updater is to get; raises Error at a field that it does not write.
mv::Record recordForUpdate(std::int32_t mediaType, const mv::Record& current, const Record& changes)
{
    mv::Record update = mv::recordKeepingTags(mediaType, current);
    for (const auto& [key, value] : recordFrom(changes)) {
        if (!mv::isTagField(mediaType, key)) {
            throw Error(Error::Kind::InvalidArgument,
                "the service writes no " + key + " into " + mv::MVMediaTypeReader::typeName(mediaType) + " files");
        }
        if (value.isOtherKind())
            throw Error(Error::Kind::InvalidArgument, key + " has one value");
        update.set(key, value.isNull() ? mv::emptyTagField(mediaType, key) : value);
    }
    return update;
}

} // namespace

Client::Client()
    : Client(ClientOptions())
{
}

Client::Client(const ClientOptions& options)
    : m_content(std::make_unique<ClientContent>(options))
{
}

Client::Client(Client&& other) noexcept = default;
Client& Client::operator=(Client&& other) noexcept = default;
Client::~Client() = default;

std::optional<Record> Client::describe(const std::string& path, Describer describer)
{
    mv::Path file = wholeName(path);
    return recordFrom(m_content->call(
        [&] { return mv::MediaInfoClient(m_content->bus(), serviceFor(describer, file)).build(file); }));
}

std::optional<Record> Client::thumbnail(const std::string& path, double maximumWidth, double maximumHeight)
{
    mv::Path file = wholeName(path);
    mv::FloatSize maximum { static_cast<float>(maximumWidth), static_cast<float>(maximumHeight) };
    return recordFrom(
        m_content->call([&] { return mv::ImageClient(m_content->bus()).makeThumbnailWithMaxSize(file, maximum); }));
}

std::optional<Record> Client::exif(const std::string& path)
{
    mv::Path file = wholeName(path);
    auto info = m_content->call([&] { return mv::ExifClient(m_content->bus()).extractExif(file); });
    if (!info)
        return std::nullopt;
    return exifRecord(*info);
}

std::optional<Record> Client::podcast(const std::string& path)
{
    mv::Path file = wholeName(path);
    return recordFrom(m_content->call([&] { return mv::TagClient(m_content->bus()).podcastInfo(file); }));
}

void Client::updateTags(const std::string& path, const Record& changes)
{
    mv::Path file = wholeName(path);
    std::int32_t mediaType = mv::MVMediaTypeReader::knownType(file).value_or(mv::MVMediaTypeUnknown);
    if (!mv::hasWritableTags(mediaType))
        throw Error(Error::Kind::InvalidArgument, "only MP3 and M4A files have tags that the service writes");
    ClientContent::Turn turn(*m_content);
    auto& bus = m_content->bus();
    auto current = m_content->within(
        turn, [&] { return mv::MediaInfoClient(bus, serviceFor(Describer::ByName, file)).build(file); });
    if (!current)
        throw Error(Error::Kind::Failed, "is no file that the service can describe");
    mv::Record update = recordForUpdate(mediaType, *current, changes);
    if (!m_content->within(turn, [&] { return mv::TagClient(bus).updateTagWithDictionary(file, update); }))
        throw Error(Error::Kind::Failed, "the service could not write the tag");
}

JobEnd Client::encode(
    const std::string& input, const std::string& output, const Record& attributes, const Progress& progress)
{
    std::string source = wholeName(input);
    std::string destination = wholeName(output);
    mv::Record all = encoderAttributes(attributes);
    ClientContent::Turn turn(*m_content);
    return runEncoding(*m_content, turn, source, destination, all, progress);
}

JobEnd Client::convertToAac(const std::string& input, const std::string& output, int bitrate, const Progress& progress)
{
    mv::Path source = wholeName(input);
    mv::Path destination = wholeName(output);
    if (bitrate < LowestBitrate || bitrate > HighestBitrate)
        throw Error(Error::Kind::InvalidArgument, "the bit rate is not between 1000 and 256000 bit/s");
    return runExport(*m_content, progress, [&](mv::ExporterClient& exporter, mv::MVMP4ExporterDelegate* delegate) {
        return exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(delegate, source, destination, bitrate);
    });
}

JobEnd Client::exportToMp4(const std::string& input, const std::string& output, const Progress& progress)
{
    mv::Path source = wholeName(input);
    mv::Path destination = wholeName(output);
    return runExport(*m_content, progress, [&](mv::ExporterClient& exporter, mv::MVMP4ExporterDelegate* delegate) {
        return exporter.exportWithDelegateFromPathToMp4Path(delegate, source, destination);
    });
}

bool Client::isAppleLossless(const std::string& path)
{
    mv::Path file = wholeName(path);
    return m_content->call([&] { return mv::ExporterClient(m_content->bus()).isAlacAudio(file); });
}

} // namespace mivo
