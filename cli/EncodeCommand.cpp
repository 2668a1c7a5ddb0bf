#include "cli/CarriedTags.h"
#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/JobOptions.h"
#include "cli/JobOutput.h"
#include "cli/Output.h"
#include "cli/PlayLength.h"
#include "cli/ProgressDisplay.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/BorrowedAttributes.h"
#include "client/ResultCodes.h"

#include <algorithm>
#include <thread>

namespace mv::cli {

namespace {

constexpr const char* Name = "encode";
constexpr int BitsPerKilobit = 1000;
constexpr int UsualBitrate = 192;

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

/// One file of the command line on its way to an MP3.
struct Job {
    std::string input; ///< as given
    std::string output;
    Path source;
    JobOutput place;
};

class Listener final : public EncodeListener {
public:
    Listener(
        const Job& job, bool carriesTags, ProgressDisplay& display, std::size_t index, const Interruption& interruption)
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
        complain(Name, m_job.input, sentenceFor(done.error()));
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
            return Error { delivered.error().kind, m_job.output + ": " + delivered.error().text };
        return {};
    }
    Result<void> carryTags() const
    {
        SongTags tags = readSongTags(m_job.source);
        if (tags.isCut)
            complain(Name, m_job.input, "not all of its tags fit into the new file's");
        return writeId3Tags(m_job.place.made, tags);
    }

    const Job& m_job;
    bool m_carriesTags;
    ProgressDisplay& m_display;
    std::size_t m_index;
    const Interruption& m_interruption;
    bool m_started = false;
    ExitStatus m_status = ExitStatus::Done;
};

struct Names {
    std::string input;
    std::string output;
};

/// The pairs that a command line asks for; fails with a sentence where it asks for nothing that can be.
Result<std::vector<Names>> namesFrom(const Arguments& arguments)
{
    const auto& files = arguments.files();
    if (!arguments.has("to")) {
        if (files.size() != 2)
            return Error { Error::Kind::Format, "name an input and an output, or a folder with --to" };
        return std::vector { Names { files[0], files[1] } };
    }
    std::vector<Names> names;
    for (const std::string& file : files) {
        std::string title(Path(file).lastPathComponentWithoutExtension());
        std::string output = Path(arguments.value("to")).appending(title + ".mp3").text();
        if (std::any_of(names.begin(), names.end(), [&](const Names& other) { return other.output == output; }))
            return Error { Error::Kind::Format, "two inputs would become " + output };
        names.push_back({ file, output });
    }
    return names;
}

/// Nothing for a file that is skipped; complains of one that cannot be.
std::optional<Job> jobFor(const Names& names, JobOutputs& outputs, ExitStatus& status)
{
    auto fail = [&](const std::string& file, const Error& error) {
        complain(Name, file, error.text);
        status = worse(status, ExitStatus::SomeFailed);
        return std::nullopt;
    };
    auto source = inputPath(names.input);
    if (!source)
        return fail(names.input, source.error());
    auto place = outputs.placeFor(*source, names.output);
    if (!place)
        return fail(names.output, place.error());
    if (*place)
        return Job { names.input, names.output, *source, std::move(**place) };
    printToError(terminalText(names.output) + ": is there already, skipped\n");
    return std::nullopt;
}

ExitStatus encode(ServiceBus& bus, const std::vector<Job>& jobs, const Record& attributes, bool carriesTags)
{
    std::vector<ProgressDisplay::Job> titles;
    titles.reserve(jobs.size());
    for (const Job& job : jobs)
        titles.push_back({ std::string(Path(job.output).lastPathComponent()), playLength(bus, job.source) });
    ProgressDisplay display(std::move(titles), errorTakesDrawing(), terminalWidth());
    Interruption interruption;
    std::vector<std::unique_ptr<Listener>> listeners;
    std::vector<EncodeJob> asked;
    for (const Job& job : jobs) {
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
    encoder.encode(asked, std::max(1u, std::thread::hardware_concurrency()));
    ExitStatus status = ExitStatus::Done;
    for (const auto& listener : listeners)
        status = worse(status, listener->status());
    return status;
}

ExitStatus run(const Arguments& arguments)
{
    auto overwriting = overwritingFrom(arguments);
    if (!overwriting)
        return misuse(Name, overwriting.error().text);
    auto names = namesFrom(arguments);
    if (!names)
        return misuse(Name, names.error().text);
    JobOutputs outputs(*overwriting, ".mp3");
    ExitStatus status = ExitStatus::Done;
    std::vector<Job> jobs;
    for (const Names& one : *names) {
        if (auto job = jobFor(one, outputs, status))
            jobs.push_back(std::move(*job));
    }
    if (jobs.empty())
        return status;
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    return worse(status, encode(*service->bus, jobs, attributesFrom(arguments), !arguments.has("no-tags")));
}

constexpr std::array Options {
    Option { "to", "FOLDER", "encode every FILE into FOLDER, several at once", 0, aFolder() },
    Option { "bitrate", "KBITS", "constant bit rate in kbit/s, 8 to 320 (default 192)", 0, numberFrom(8, 320) },
    Option {
        "rate", "HZ", "sample rate of the output, up to 48000; 0 is the input's (default)", 0, numberFrom(0, 48000) },
    Option { "vbr", nullptr, "variable bit rate; --bitrate is then not used" },
    Option { "mode", "MODE", "mono, stereo (default) or joint", 0, oneOf(Modes) },
    Option { "quality", "QUALITY", "fast, standard (default) or best", 0, oneOf(Qualities) },
    NoTagsOption,
    ForceOption,
    NoClobberOption,
};

constexpr std::array Files { aFile() };

} // namespace

const Command encodeCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE OUT.mp3 | --to FOLDER FILE...",
    .summary = "Encode audio files to MP3",
    .details = "The tags and the cover go along. Ctrl-C cancels and leaves nothing.",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
