#include "cli/CarriedTags.h"
#include "cli/Command.h"
#include "cli/FileEncoding.h"
#include "cli/Interruption.h"
#include "cli/JobNames.h"
#include "cli/JobOptions.h"
#include "cli/Mirroring.h"
#include "cli/Output.h"
#include "cli/PlayLength.h"
#include "cli/ProgressDisplay.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/BorrowedAttributes.h"
#include "client/ResultCodes.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "encode";
constexpr int BitsPerKilobit = 1000;
constexpr int UsualBitrate = 192;

constexpr std::array Rates { "0", "8000", "11025", "12000", "16000", "22050", "24000", "32000", "44100", "48000" };
// In the order of the encoder's codes.
constexpr std::array Modes { "mono", "stereo", "joint" };
constexpr std::int32_t FirstMode = 1;
constexpr std::array Qualities { "fast", "standard", "best" };

/// Every attribute, because the encoder keeps those of the last job.
Record attributesFrom(const Arguments& arguments)
{
    auto mode = static_cast<std::int32_t>(arguments.choice("mode", Modes, "stereo"));
    auto quality = static_cast<std::int32_t>(arguments.choice("quality", Qualities, "standard"));
    return Record {
        { MVAudioEncoderBitrateAttribute, std::int32_t { arguments.number("bitrate", UsualBitrate) * BitsPerKilobit } },
        { MVAudioEncoderSamplingRateAttribute, std::int32_t { arguments.number("rate", 0) } },
        { MVAudioEncoderVBRAttribute, arguments.has("vbr") },
        { MVMP3EncoderStereoModeAttribte, FirstMode + mode },
        { MVMP3EncoderQualityAttribute, quality },
        { MVAudioEncoderExactConversionAttribute, true },
    };
}

/// Another rate than the input's.
bool resamples(const Arguments& arguments) { return arguments.number("rate", 0) != 0; }

/// A file on its way through the encoder service, which has the options and takes the files that Mivo.Media1 does not.
class Listener final : public EncodeListener {
public:
    Listener(const PlacedJob& job, bool carriesTags, ProgressDisplay& display, std::size_t index,
        const Interruption& interruption)
        : m_job(job)
        , m_carriesTags(carriesTags)
        , m_display(display)
        , m_index(index)
        , m_interruption(interruption)
    {
    }

    void started() override
    {
        m_started = true;
        m_display.start(m_index);
    }
    bool shouldStop() override { return m_interruption.asked(); }
    void progress(double percent) override { m_display.progress(m_index, percent); }
    void ended(const Result<EncodeOutcome>& outcome) override
    {
        if (outcome && outcome->end == EncodeOutcome::End::Cancelled) {
            m_status = ExitStatus::Interrupted;
            if (m_started)
                m_display.finish(m_index, "cancelled");
            return;
        }
        auto done = finished(outcome);
        m_display.finish(m_index, done ? "done" : "failed");
        if (done)
            return;
        complain(Name, m_job.names.input, sentenceFor(done.error()));
        m_status = statusFor(done.error());
    }

    ExitStatus status() const { return m_status; }

private:
    /// From the service's last word to the file in its place.
    Result<void> finished(const Result<EncodeOutcome>& outcome) const
    {
        if (!outcome)
            return outcome.error();
        if (outcome->end == EncodeOutcome::End::Failed)
            return Error { Error::Kind::State, sentenceForCode(encoderCodes(), outcome->code), outcome->code };
        if (m_carriesTags)
            MV_TRY_VOID(carryTags());
        if (auto delivered = m_job.place.deliver(); !delivered)
            return Error { delivered.error().kind, m_job.names.output + ": " + delivered.error().text };
        return {};
    }
    Result<void> carryTags() const
    {
        SongTags tags = readSongTags(m_job.source);
        if (tags.isCut)
            complain(Name, m_job.names.input, "not all of its tags fit into the new file's");
        return writeId3Tags(m_job.place.made, tags);
    }

    const PlacedJob& m_job;
    bool m_carriesTags;
    ProgressDisplay& m_display;
    std::size_t m_index;
    const Interruption& m_interruption;
    bool m_started = false;
    ExitStatus m_status = ExitStatus::Done;
};

ExitStatus encodeClassically(
    ServiceBus& bus, const std::vector<PlacedJob>& jobs, const Record& attributes, bool carriesTags, std::size_t atOnce)
{
    std::vector<ProgressDisplay::Job> titles;
    titles.reserve(jobs.size());
    for (const PlacedJob& job : jobs)
        titles.push_back({ std::string(Path(job.names.output).lastPathComponent()), playLength(bus, job.source) });
    ProgressDisplay display(std::move(titles), errorTakesDrawing(), terminalWidth());
    Interruption interruption;
    std::vector<std::unique_ptr<Listener>> listeners;
    std::vector<EncodeJob> asked;
    for (const PlacedJob& job : jobs) {
        auto& listener = listeners.emplace_back(
            std::make_unique<Listener>(job, carriesTags, display, listeners.size(), interruption));
        asked.push_back({ job.source, job.place.made, listener.get() });
    }
    Mp3EncoderClient encoder(bus);
    auto borrowed = BorrowedAttributes::set(encoder, attributes);
    if (!borrowed) {
        complain(Name, sentenceFor(borrowed.error()));
        return statusFor(borrowed.error());
    }
    encoder.encode(asked, atOnce);
    ExitStatus status = ExitStatus::Done;
    for (const auto& listener : listeners)
        status = worse(status, listener->status());
    return status;
}

MediaEncoding encodingFrom(const Arguments& arguments)
{
    auto numberOf = [&](const char* option, const auto& words, const char* usual) {
        return 1 + static_cast<int>(arguments.choice(option, words, usual));
    };
    return { .format = SoundFormat::Mp3,
        .bitrate = static_cast<std::uint32_t>(arguments.number("bitrate", UsualBitrate) * BitsPerKilobit),
        .vbr = arguments.has("vbr"),
        .quality = static_cast<EncodingQuality>(numberOf("quality", Qualities, "standard")),
        .mode = static_cast<ChannelMode>(numberOf("mode", Modes, "stereo")) };
}

/// Quality counts for variable rates, too; the rate does not.
std::string settingsText(const Arguments& arguments)
{
    std::string rate = arguments.has("vbr") ? "vbr" : arguments.value("bitrate", std::to_string(UsualBitrate));
    return "mp3 " + rate + " " + arguments.value("quality", "standard") + (arguments.has("no-tags") ? " no-tags" : "");
}

ExitStatus mirror(const Arguments& arguments)
{
    auto order = mirrorOrderFrom(Name, arguments, { "to", "rate", "mode", "no-clobber" });
    if (!order)
        return misuse(Name, order.error().text);
    order->ending = "mp3";
    order->how = settingsText(arguments);
    order->encoding = encodingFrom(arguments);
    order->encoding.mode.reset(); // a copy of its source
    return mirrorFolder(*order, arguments);
}

/// Those files alone.
std::vector<PlacedJob> someOf(const std::vector<PlacedJob>& jobs, const std::vector<std::size_t>& numbers)
{
    std::vector<PlacedJob> some;
    some.reserve(numbers.size());
    for (std::size_t number : numbers)
        some.push_back(jobs[number]);
    return some;
}

ExitStatus encode(ServiceBus& bus, const std::vector<PlacedJob>& jobs, const Arguments& arguments)
{
    const bool carriesTags = !arguments.has("no-tags");
    const CoreShares shares = coreShares(arguments, jobs.size());
    if (resamples(arguments))
        return encodeClassically(bus, jobs, attributesFrom(arguments), carriesTags, shares.jobs);
    const FileEncoding encoding { Name, encodingFrom(arguments), carriesTags,
        sentenceForCode(encoderCodes(), MVAudioEncoderErrorWrite) };
    auto end = encoding.run(bus, jobs, shares, true);
    if (end.refused.empty())
        return end.status;
    return worse(end.status,
        encodeClassically(bus, someOf(jobs, end.refused), attributesFrom(arguments), carriesTags, shares.jobs));
}

ExitStatus run(const Arguments& arguments)
{
    if (arguments.has("mirror"))
        return mirror(arguments);
    if (arguments.has("delete"))
        return misuse(Name, "--delete goes with --mirror");
    if (resamples(arguments) && arguments.number("cores", 1) > 1)
        return misuse(Name, "--rate is the work of one encoder; leave out --cores, or ask for one");
    auto [jobs, status] = placedJobs(Name, arguments, ".mp3");
    if (jobs.empty())
        return status;
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    return worse(status, encode(*service->bus, jobs, arguments));
}

constexpr std::array Options {
    Option { "to", "FOLDER", "encode every FILE into FOLDER, several at once", 0, aFolder() },
    Option { "bitrate", "KBITS", "constant bit rate in kbit/s, 8 to 320 (default 192)", 0, numberFrom(8, 320) },
    Option { "rate", "HZ", "sample rate of the output, one of MP3's: 8000 to 48000; 0 is the input's (default)", 0,
        oneOf(Rates) },
    Option { "vbr", nullptr, "variable bit rate; --bitrate is then not used" },
    Option { "mode", "MODE", "mono, stereo (default) or joint", 0, oneOf(Modes) },
    Option { "quality", "QUALITY", "fast, standard (default) or best", 0, oneOf(Qualities) },
    NoTagsOption,
    JobsOption,
    CoresOption,
    MirrorOption,
    DeleteOption,
    ForceOption,
    NoClobberOption,
};

constexpr std::array Files { aFile() };

} // namespace

const Command encodeCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE OUT.mp3 | --to FOLDER FILE... | --mirror SOURCE DESTINATION",
    .summary = "Encode audio files to MP3",
    .details
    = "The tags and the cover go along. Ctrl-C cancels and leaves nothing.\n\n"
      "One file is encoded on all cores that are free, several (--to, --mirror) side by side, which is --jobs at\n"
      "once with --cores each, but never more cores than there are. --cores 1 makes the same file everywhere,\n"
      "more make one that sounds the same. --rate is done by one core.\n\n"
      "--mirror makes one folder a copy of another for a phone: lossless sound is encoded, other sound and\n"
      "pictures of covers (cover.jpg, folder.jpg) are copied, and a second run does only what has changed.\n"
      "What it made whose source is gone is named, and removed with --delete; nothing else is touched.\n"
      "--bitrate, --vbr, --quality and --no-tags are as for files; --force also replaces files in the way.",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
