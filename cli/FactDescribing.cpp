#include "cli/FactDescribing.h"

#include "cli/FactBatches.h"
#include "cli/FactReading.h"
#include "cli/Interruption.h"
#include "cli/OrderedPipe.h"
#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"

#include <algorithm>
#include <sstream>

namespace mv::cli {

namespace {

/// What is printed at once; nobody who interrupts waits for more of it.
constexpr std::size_t MostPrintedBytes = 16 * 1024;

/// What became of a file: nothing where it is left out.
struct FactPiece {
    std::string output;
    std::string complaint;
    ExitStatus status = ExitStatus::Done;
};
using FactPieces = std::vector<FactPiece>;

FactPiece failedPiece(const std::string& name, const Error& error, const FactWriter& writer)
{
    FactFailure failure = failureOf(name, error);
    if (failure.sentence == "is a folder")
        failure.sentence += "; -r describes what is in it";
    return { writer.failure(name, failure), name + ": " + failure.sentence, statusFor(error) };
}

/// A thread's own way to the service.
class Describer {
public:
    Describer(const FactWish& wish, const FactWriter& writer)
        : m_wish(wish)
        , m_writer(writer)
        , m_reading(FactReading::open())
    {
    }

    FactPieces describe(const FileBatch& batch)
    {
        std::vector<std::string> names;
        for (const NamedFile& file : batch) {
            if (!file.failure)
                names.push_back(file.name);
        }
        std::vector<Result<DescribedFile>> described;
        if (m_reading)
            described = (*m_reading)->describe(names);
        else
            described.assign(names.size(), m_reading.error());
        FactPieces pieces;
        auto next = described.begin();
        for (const NamedFile& file : batch)
            pieces.push_back(file.failure ? failedPiece(file.name, *file.failure, m_writer) : pieceOf(file, *next++));
        return pieces;
    }

private:
    FactPiece pieceOf(const NamedFile& file, const Result<DescribedFile>& described) const
    {
        if (!described) {
            // Among the files of a folder are others than media.
            bool isNoMatter = file.wasFound && isNotMedia(described.error());
            return isNoMatter ? FactPiece {} : failedPiece(file.name, described.error(), m_writer);
        }
        bool isWanted = !m_wish.query || m_wish.query->matches(*described);
        return isWanted ? FactPiece { m_writer.item(*described), "" } : FactPiece {};
    }

    const FactWish& m_wish;
    const FactWriter& m_writer;
    Result<std::unique_ptr<FactReading>> m_reading;
};

/// Puts the pieces out in their order, with what belongs between them.
class FactPrinter {
public:
    FactPrinter(const char* command, const FactWriter& writer)
        : m_command(command)
        , m_writer(writer)
    {
    }

    void begin() { print(m_writer.begin()); }
    void print(const FactPieces& pieces)
    {
        for (const FactPiece& piece : pieces) {
            if (!piece.output.empty())
                add(piece.output);
            if (!piece.complaint.empty()) {
                flush();
                complain(m_command, piece.complaint);
            }
            m_status = worse(m_status, piece.status);
        }
        flush();
    }
    void end() { print(m_writer.end()); }
    ExitStatus status() const { return m_status; }

private:
    void add(const std::string& output)
    {
        m_waiting += m_isFirst ? output : m_writer.between() + output;
        m_isFirst = false;
        if (m_waiting.size() >= MostPrintedBytes)
            flush();
    }
    void flush() { print(std::exchange(m_waiting, {})); }
    static void print(const std::string& text)
    {
        // Nobody hears the rest, and the list may be one without an end.
        if (!cli::print(text))
            leaveNow(closeOutput(ExitStatus::SomeFailed));
    }

    const char* m_command;
    const FactWriter& m_writer;
    std::string m_waiting;
    bool m_isFirst = true;
    ExitStatus m_status = ExitStatus::Done;
};

/// Without a service no file can be described, which is told of each that the command line names.
ExitStatus failAll(const char* command, const Arguments& arguments, const FactWriter& writer, const Error& error)
{
    complain(command, sentenceFor(error));
    FactPrinter printer(command, writer);
    printer.begin();
    for (const std::string& file : arguments.files())
        printer.print({ { writer.failure(file, { sentenceFor(error), error.name }), "" } });
    printer.end();
    return ExitStatus::NoService;
}

std::vector<std::string> namesIn(const std::string& list)
{
    std::vector<std::string> names;
    std::istringstream text(list);
    for (std::string name; std::getline(text, name, ',');) {
        auto isBlank = [](char byte) { return byte == ' ' || byte == '\t'; };
        std::erase_if(name, isBlank);
        names.push_back(std::move(name));
    }
    return names;
}

} // namespace

Result<FactWish> factWishFrom(const Arguments& arguments)
{
    FactWish wish;
    wish.form.form = static_cast<FactForm>(arguments.choice("format", FactFormNames, "text"));
    wish.form.emphasised = outputTakesEmphasis();
    wish.form.forTerminal = outputIsTerminal();
    wish.form.formulaSafe = arguments.has("formula-safe");
    if (wish.form.formulaSafe && wish.form.form != FactForm::Csv)
        return Error { Error::Kind::Format, "--formula-safe goes with --format csv" };
    if (arguments.has("fields")) {
        auto fields = fieldsFrom(arguments.value("fields"));
        if (!fields)
            return Error { Error::Kind::Format, "--fields: " + fields.error().text };
        wish.form.fields = std::move(*fields);
        wish.form.heads = namesIn(arguments.value("fields"));
    }
    if (arguments.has("where")) {
        auto query = FactQuery::parse(arguments.value("where"));
        if (!query)
            return Error { Error::Kind::Format, "--where: " + query.error().text };
        wish.query = std::move(*query);
    }
    wish.jobs = static_cast<std::size_t>(arguments.number("jobs", static_cast<int>(usualJobs())));
    return wish;
}

ExitStatus describeFacts(const char* command, const Arguments& arguments, FileNames& names, FactWish wish)
{
    FactWriter writer(wish.form);
    auto service = serviceFor(arguments);
    if (!service)
        return failAll(command, arguments, writer, service.error());
    FactPrinter printer(command, writer);
    printer.begin();
    FactBatches batches(names);
    OrderedPipe<FileBatch, FactPieces> pipe;
    pipe.next = [&] { return batches.next(); };
    pipe.workers = wish.jobs;
    pipe.ahead = 2 * wish.jobs;
    pipe.makeWorker = [&]() -> decltype(pipe)::Work {
        auto describer = std::make_shared<Describer>(wish, writer);
        return [describer](std::size_t, const FileBatch& batch) { return describer->describe(batch); };
    };
    pipe.emit = [&](std::size_t, const FactPieces& pieces) { printer.print(pieces); };
    pipe.run();
    printer.end();
    return printer.status();
}

} // namespace mv::cli
