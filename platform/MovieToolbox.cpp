#include "platform/MovieToolbox.h"

#include "Base/Core/ByteReader.h"
#include "movies/MovieBackend.h"
#include "platform/AtomContainer.h"
#include "platform/QTKit.h"

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace mv {

namespace {

constexpr OSType Mpeg4FileType = fourCC("mpg4");

OSStatus statusOf(const Error& error, OSStatus otherwise)
{
    if (error.code == ENOSPC || error.code == EDQUOT || error.code == EFBIG)
        return dskFulErr;
    switch (error.kind) {
    case Error::Kind::NotFound:
        return fnfErr;
    case Error::Kind::Access:
        return permErr;
    case Error::Kind::Limit:
        return memFullErr;
    case Error::Kind::Cancelled:
        return userCanceledErr;
    case Error::Kind::Io:
        return ioErr;
    default:
        return otherwise;
    }
}

OSStatus exportStatus(const Error& error)
{
    return statusOf(error, error.kind == Error::Kind::Unsupported ? noExportProcAvailableErr : invalidMovie);
}

std::uint64_t numberOf(const QTAtom& root, const char (&type)[5])
{
    const QTAtom* atom = root.child(fourCC(type));
    return atom ? atom->number() : 0;
}

} // namespace

MovieToolbox& MovieToolbox::shared()
{
    static MovieToolbox toolbox;
    return toolbox;
}

OSStatus MovieToolbox::QTNewDataReferenceFromFSRef(const FSRef& ref, DataReference& reference)
{
    if (ref.file.path().isNil())
        return paramErr;
    reference.ref = ref;
    return noErr;
}

OSStatus MovieToolbox::NewMovieFromDataRef(std::unique_ptr<Movie>& movie, std::int16_t, const DataReference& reference)
{
    movie.reset();
    auto opened = QTKit::shared().initWithFile(reference.ref.file);
    if (!opened)
        return statusOf(opened.error(), noMovieFound);
    movie = std::make_unique<Movie>(reference, (*opened)->tracks());
    return noErr;
}

void MovieToolbox::SetMovieProgressProc(Movie& movie, MovieProgressProc progress, void* context)
{
    movie.setProgress(progress, context);
}

std::unique_ptr<MovieExporter> MovieToolbox::OpenDefaultComponent(OSType type, OSType subtype)
{
    if (type != MovieExportType || subtype != Mpeg4FileType)
        return nullptr;
    return std::make_unique<MovieExporter>();
}

OSStatus MovieToolbox::MovieExportSetSettingsFromAtomContainer(MovieExporter& exporter, ByteView container)
{
    auto root = readAtomContainer(container);
    if (!root || root->type != fourCC("sean"))
        return paramErr;
    constexpr OSType Past = fourCC("past");
    exporter.settings.brand = static_cast<OSType>(numberOf(*root, "ftyp"));
    exporter.settings.passVideoThrough = numberOf(*root, "envi") == Past;
    exporter.settings.passSoundThrough = numberOf(*root, "enso") == Past;
    exporter.settings.hinted = numberOf(*root, "hint") != 0;
    exporter.settings.packetSize = static_cast<std::uint32_t>(numberOf(*root, "psiz"));
    return noErr;
}

OSStatus MovieToolbox::ConvertMovieToDataRef(
    Movie& movie, const DataReference& destination, OSType fileType, OSType, std::uint32_t, MovieExporter& exporter)
{
    // Nothing here encodes: what is not passed through cannot be had.
    const auto& source = movie.source().ref.file.content();
    const auto& output = destination.ref.output;
    if (fileType != Mpeg4FileType || !exporter.settings.passVideoThrough || !exporter.settings.passSoundThrough
        || !source || !output)
        return paramErr;
    if (OSStatus answer = movie.report(movieProgressOpen, 0); answer != noErr)
        return userCanceledErr;
    // There are many more packets than percents, and whoever listens may be another process.
    int reported = -1;
    auto progress = [&movie, &reported](double done) {
        done = std::clamp(done, 0.0, 1.0);
        auto percent = static_cast<int>(std::lround(done * 100));
        if (percent <= reported)
            return true;
        reported = percent;
        return movie.report(movieProgressUpdatePercent, static_cast<Fixed>(std::lround(done * 65536))) == noErr;
    };
    auto copied = installedMovieBackend().passThrough(*source, *output, exporter.settings, progress);
    if (!copied)
        return exportStatus(copied.error());
    if (auto named = output->commit(); !named)
        return statusOf(named.error(), ioErr);
    // All is done; an answer that comes now cancels nothing.
    static_cast<void>(movie.report(movieProgressClose, Long2Fix(1)));
    return noErr;
}

} // namespace mv
