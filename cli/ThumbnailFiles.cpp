#include "cli/ThumbnailFiles.h"

#include "Base/Core/Text.h"
#include "cli/FactBatches.h"
#include "cli/FactReading.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/MediaPicture.h"
#include "cli/OrderedPipe.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "cli/ThumbnailOrders.h"
#include "system/InputFile.h"
#include "system/OutputFile.h"

#include <cstring>
#include <filesystem>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* UsualSize = "128";

Error unwritable(const std::string& output, const Error& error)
{
    std::string reason = error.code != 0 ? std::strerror(error.code) : error.text;
    return { Error::Kind::Io, output + " cannot be written: " + reason, error.code };
}

Result<void> writeFile(const std::string& output, const Bytes& content)
{
    auto written = [&]() -> Result<void> {
        MV_TRY(file, OutputFile::create(output));
        MV_TRY_VOID(file->writeAt(0, content));
        return file->commit();
    }();
    return written ? written : unwritable(output, written.error());
}

/// A thread's own way to the service.
class Thumbnailing {
public:
    explicit Thumbnailing(const ThumbnailFilesWish& wish)
        : m_wish(wish)
        , m_bus(ServiceBus::open())
    {
        if (m_bus)
            m_client.emplace(**m_bus);
    }

    WorkResult make(const ThumbnailOrder& order)
    {
        if (order.file.failure)
            return failedFile(order.file.name, *order.file.failure, false);
        auto made = tryMake(order);
        if (made)
            return {};
        // Among the files of a folder are others.
        if (order.file.wasFound && meansNoPicture(made.error()))
            return {};
        FactFailure failure = failureOf(order.file.name, made.error());
        return { "", order.file.name + ": " + failure.sentence, statusFor(made.error()) };
    }

private:
    Result<void> tryMake(const ThumbnailOrder& order)
    {
        if (!m_client)
            return noConnection(m_bus.error());
        if (!order.rival.empty())
            return Error { Error::Kind::State, "its thumbnail would have the name of that of " + order.rival };
        if (order.isInput && sameFile(order.file.name, order.output))
            return Error { Error::Kind::State, "input and output are the same file" };
        if (order.isInput)
            return Error { Error::Kind::State,
                "its thumbnail would replace " + order.output + ", which is one of the files" };
        // Nobody has typed this name: a link may have been left there to have another file replaced.
        std::error_code failed;
        if (m_wish.pattern.isForMany() && fs::is_symlink(order.output, failed))
            return unwritable(order.output, { Error::Kind::State, "it is a link" });
        MV_TRY(thumbnail, fitted(order.file.name));
        MV_TRY(picture, InputFile::adopt(std::move(thumbnail.picture)));
        MV_TRY(content, picture.bytesAt(0, picture.size()));
        return writeFile(order.output, content);
    }

    /// The service knows squares; what is too large for a box that is none is asked for once more.
    Result<MediaThumbnail> fitted(const std::string& name)
    {
        ThumbnailWish wish { m_wish.box.longSide(), m_wish.upright, m_wish.pattern.format() };
        auto thumbnail = ask(name, wish);
        if (!thumbnail || m_wish.box.takes(thumbnail->width, thumbnail->height))
            return thumbnail;
        wish.size = m_wish.box.squareFor(thumbnail->width, thumbnail->height);
        return ask(name, wish);
    }

    Result<MediaThumbnail> ask(const std::string& name, const ThumbnailWish& wish)
    {
        MV_TRY(path, carriedPath(name));
        if (path)
            return m_client->call(thumbnailRequest(*path, wish));
        MV_TRY(file, openForService(name));
        return m_client->call(thumbnailFileRequest(file.get(), cleanedUtf8(fs::path(name).filename().native()), wish));
    }

    const ThumbnailFilesWish& m_wish;
    Result<std::unique_ptr<ServiceBus>> m_bus;
    std::optional<Media1Client> m_client;
};

} // namespace

Result<ThumbnailFilesWish> thumbnailFilesWishFrom(const Arguments& arguments)
{
    MV_TRY(pattern, ThumbnailPattern::parse(arguments.value("output")));
    MV_TRY(box, thumbnailBox(arguments.value("size", UsualSize)));
    auto jobs = static_cast<std::size_t>(arguments.number("jobs", static_cast<int>(usualJobs())));
    return ThumbnailFilesWish { std::move(pattern), box, !arguments.has("as-stored"), jobs };
}

ExitStatus thumbnailFiles(
    const char* command, const Arguments& arguments, FileNames& names, const ThumbnailFilesWish& wish)
{
    auto service = openService(command, arguments);
    if (!service)
        return ExitStatus::NoService;
    ThumbnailOrders orders(arguments, names, wish.pattern);
    ExitStatus status = ExitStatus::Done;
    OrderedPipe<ThumbnailOrder, WorkResult> pipe;
    pipe.next = [&] { return orders.next(); };
    pipe.workers = wish.jobs;
    pipe.makeWorker = [&]() -> decltype(pipe)::Work {
        auto thumbnailing = std::make_shared<Thumbnailing>(wish);
        return [thumbnailing](std::size_t, const ThumbnailOrder& order) { return thumbnailing->make(order); };
    };
    pipe.emit = [&](std::size_t, const WorkResult& result) {
        emitFile(command, result.output, result.complaint);
        status = worse(status, result.status);
    };
    pipe.run();
    if (!names.failure())
        return status;
    complain(command, names.failure()->text);
    return worse(status, ExitStatus::SomeFailed);
}

} // namespace mv::cli
