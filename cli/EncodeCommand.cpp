#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/JobOutcome.h"
#include "cli/ProgressDisplay.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/Mp3EncoderClient.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr const char* Name = "encode";
constexpr int BitsPerKilobit = 1000;
constexpr int UsualBitrate = 192;

struct Word {
    std::string_view word;
    std::int32_t code;
};
constexpr std::array kModes { Word { "mono", 1 }, Word { "stereo", 2 }, Word { "joint", 3 } };
constexpr std::array kQualities { Word { "fast", 0 }, Word { "standard", 1 }, Word { "best", 2 } };

template <std::size_t Count>
Result<std::int32_t> codeOf(const char* option, const std::string& text, const std::array<Word, Count>& words)
{
    std::string known;
    for (const Word& one : words) {
        if (one.word == text)
            return one.code;
        known += (known.empty() ? "" : ", ") + std::string(one.word);
    }
    return Error { Error::Kind::Format, std::string("--") + option + " is one of: " + known };
}

/// Every attribute, because the encoder keeps those of the last job.
Result<Record> attributesFrom(const Arguments& arguments)
{
    MV_TRY(bitrate, numberIn("bitrate", arguments.value("bitrate", std::to_string(UsualBitrate)), 8, 320));
    MV_TRY(rate, numberIn("rate", arguments.value("rate", "0"), 0, 48000));
    MV_TRY(mode, codeOf("mode", arguments.value("mode", "stereo"), kModes));
    MV_TRY(quality, codeOf("quality", arguments.value("quality", "standard"), kQualities));
    return Record {
        { MVAudioEncoderBitrateAttribute, std::int32_t { bitrate * BitsPerKilobit } },
        { MVAudioEncoderSamplingRateAttribute, std::int32_t { rate } },
        { MVAudioEncoderVBRAttribute, arguments.has("vbr") },
        { MVMP3EncoderStereoModeAttribte, mode },
        { MVMP3EncoderQualityAttribute, quality },
        { MVAudioEncoderExactConversionAttribute, true },
    };
}

/// The attributes of the service's one encoder, put back at the end for its other clients.
class BorrowedAttributes {
public:
    static Result<std::unique_ptr<BorrowedAttributes>> set(Mp3EncoderClient& encoder, const Record& attributes)
    {
        MV_TRY(before, encoder.attributes());
        Record changedBack;
        for (const auto& [key, value] : attributes) {
            const Value* old = before.find(key);
            // A key cannot be taken away again; the only one that may be missing is the flag, where NO says the same.
            changedBack.set(key, old ? *old : Value(false));
        }
        MV_TRY_VOID(encoder.setAttributes(attributes));
        return std::unique_ptr<BorrowedAttributes>(new BorrowedAttributes(encoder, std::move(changedBack)));
    }
    ~BorrowedAttributes() { (void)m_encoder.setAttributes(m_before).ok(); }

private:
    BorrowedAttributes(Mp3EncoderClient& encoder, Record before)
        : m_encoder(encoder)
        , m_before(std::move(before))
    {
    }

    Mp3EncoderClient& m_encoder;
    Record m_before;
};

class Listener final : public EncodeListener {
public:
    Listener(std::string input, ProgressDisplay& display, std::size_t job, const Interruption& interruption)
        : m_input(std::move(input))
        , m_display(display)
        , m_job(job)
        , m_interruption(interruption)
    {
    }

    void started() override { m_display.start(m_job); }
    bool shouldStop() override { return m_interruption.asked(); }
    void progress(double percent) override { m_display.progress(m_job, percent); }
    void ended(const Result<EncodeOutcome>& outcome) override
    {
        m_outcome = outcome;
        m_display.finish(m_job, succeeded() ? "done" : cancelled() ? "cancelled" : "failed");
        if (!outcome)
            complain(Name, m_input, sentenceFor(outcome.error()));
        else if (outcome->end == EncodeOutcome::End::Failed)
            complain(Name, m_input, encoderErrorText(outcome->code));
    }

    bool succeeded() const { return m_outcome && m_outcome->ok() && (*m_outcome)->end == EncodeOutcome::End::Done; }
    bool cancelled() const
    {
        return m_outcome && m_outcome->ok() && (*m_outcome)->end == EncodeOutcome::End::Cancelled;
    }

private:
    std::string m_input;
    ProgressDisplay& m_display;
    std::size_t m_job;
    const Interruption& m_interruption;
    std::optional<Result<EncodeOutcome>> m_outcome;
};

Result<EncodeJob> jobFor(const std::string& input, const std::string& output)
{
    auto from = inputPath(input);
    if (!from)
        return Error { Error::Kind::NotFound, input + ": " + from.error().text };
    auto to = outputPath(output);
    if (!to)
        return Error { Error::Kind::NotFound, output + ": " + to.error().text };
    if (sameFile(*from, *to))
        return Error { Error::Kind::Format, input + ": input and output are the same file" };
    return EncodeJob { *from, *to };
}

Result<std::vector<EncodeJob>> jobsFrom(const Arguments& arguments)
{
    const auto& files = arguments.files();
    std::vector<EncodeJob> jobs;
    if (!arguments.has("to")) {
        if (files.size() != 2)
            return Error { Error::Kind::Format, "name an input and an output, or a folder with --to" };
        MV_TRY(job, jobFor(files[0], files[1]));
        jobs.push_back(job);
        return jobs;
    }
    for (const std::string& file : files) {
        std::string title(Path(file).lastPathComponentWithoutExtension());
        MV_TRY(job, jobFor(file, arguments.value("to") + "/" + title + ".mp3"));
        auto taken = [&](const EncodeJob& other) { return other.output == job.output; };
        if (std::any_of(jobs.begin(), jobs.end(), taken))
            return Error { Error::Kind::Format, "two inputs would become " + job.output.text() };
        jobs.push_back(job);
    }
    return jobs;
}

/// The service deletes the output of a cancelled job right after it heard of it; a service of our own must not be
/// ended before it has.
void waitUntilGone(const Path& path)
{
    constexpr auto Patience = std::chrono::seconds(2);
    auto deadline = std::chrono::steady_clock::now() + Patience;
    while (access(path.c_str(), F_OK) == 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
}

Result<bool> encode(ServiceBus& bus, std::vector<EncodeJob> jobs, const Record& attributes)
{
    std::vector<ProgressDisplay::Job> titles;
    for (const EncodeJob& job : jobs)
        titles.push_back({ std::string(job.output.lastPathComponent()), playLength(bus, job.input) });
    ProgressDisplay display(std::move(titles), errorIsTerminal(), terminalWidth());
    Interruption interruption;
    std::vector<std::unique_ptr<Listener>> listeners;
    for (EncodeJob& job : jobs) {
        listeners.push_back(std::make_unique<Listener>(job.input.text(), display, listeners.size(), interruption));
        job.listener = listeners.back().get();
    }
    Mp3EncoderClient encoder(bus);
    MV_TRY(borrowed, BorrowedAttributes::set(encoder, attributes));
    encoder.encode(jobs, std::max(1u, std::thread::hardware_concurrency()));
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        if (listeners[i]->cancelled())
            waitUntilGone(jobs[i].output);
    }
    return std::all_of(listeners.begin(), listeners.end(), [](const auto& one) { return one->succeeded(); });
}

int run(const Arguments& arguments)
{
    auto attributes = attributesFrom(arguments);
    if (!attributes) {
        complain(Name, attributes.error().text);
        return 1;
    }
    auto jobs = jobsFrom(arguments);
    if (!jobs) {
        complain(Name, jobs.error().text);
        return 1;
    }
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    auto succeeded = encode(*service->bus, std::move(*jobs), *attributes);
    if (!succeeded)
        complain(Name, sentenceFor(succeeded.error()));
    return succeeded && *succeeded ? 0 : 1;
}

constexpr std::array kOptions {
    Option { "to", "FOLDER", "encode every FILE into FOLDER, several at once" },
    Option { "bitrate", "KBITS", "constant bit rate in kbit/s, 8 to 320 (default 192)" },
    Option { "rate", "HZ", "sample rate of the output; 0 is the input's (default)" },
    Option { "vbr", nullptr, "variable bit rate; --bitrate is then not used" },
    Option { "mode", "MODE", "mono, stereo (default) or joint" },
    Option { "quality", "QUALITY", "fast, standard (default) or best" },
};

} // namespace

const Command encodeCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE OUT.mp3 | --to FOLDER FILE...",
    .summary = "Encode audio files to MP3",
    .details = "Ctrl-C cancels; the service deletes what it had written.",
    .options = kOptions,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
