#include "thumbnailer/Thumbnailer.h"

#include "Base/Core/FileUri.h"
#include "Base/Core/Handle.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "arguments/Arguments.h"
#include "png/PngFile.h"
#include "system/OutputFile.h"
#include "system/SystemError.h"
#include "thumbnailer/FilePreview.h"
#include "thumbnailer/ThumbnailCache.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

// What desktop environments show where nobody asks for more.
constexpr int UsualSide = 128;

enum Status { Done = 0, Failed = 1, Misuse = 2 };

constexpr std::array Options {
    Option { "size", "SIZE", "the most pixels of the larger side, 1 to 2048 (default 128)", 's',
        numberFrom(1, MaxPreviewSide) },
    Option { "help", nullptr, "show this help", 'h' },
    Option { "version", nullptr, "show the version", 'V' },
};
constexpr std::array Files { aFile(), aFile("png") };
constexpr std::array Statuses {
    StatusMeaning { Done, "done" },
    StatusMeaning { Failed, "there is no thumbnail; a line on standard error says why, and nothing was written" },
    StatusMeaning { Misuse, "the command line is wrong" },
};

void complain(std::string_view text)
{
    std::string line = cleanedUtf8(text);
    // A file's name may hold a line's end, or a command for a terminal.
    std::ranges::replace_if(
        line, [](unsigned char c) { return c < ' ' || c == 0x7f; }, '?');
    std::fprintf(stderr, "mivo-thumbnailer: %s\n", line.c_str());
}

int failed(const std::string& name, const Error& error)
{
    complain(name + ": " + error.text);
    return Failed;
}

int misuse(std::string_view text)
{
    complain(std::string(text) + " (--help tells more)");
    return Misuse;
}

int say(const std::string& text) { return std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) ? Failed : Done; }

Result<OpenedFile> openInput(const std::string& name)
{
    if (!isFileUri(name))
        return OpenedFile::at(name);
    MV_TRY(path, pathOfFileUri(name));
    return OpenedFile::at(path);
}

/// An empty file of that name, for writing; none where there is another thing, or nothing.
UniqueFd placeholderAt(const std::string& name)
{
    UniqueFd file(open(name.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat facts { };
    bool isEmptyFile = file && fstat(file.get(), &facts) == 0 && S_ISREG(facts.st_mode) && facts.st_size == 0;
    return isEmptyFile ? std::move(file) : UniqueFd();
}

/// Whole, or empty as it was.
Result<void> fill(const UniqueFd& placeholder, ByteView content)
{
    std::size_t done = 0;
    while (done < content.size()) {
        ByteView rest = content.subspan(done);
        ssize_t count = pwrite(placeholder.get(), rest.data(), rest.size(), static_cast<off_t>(done));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0) {
            Error failure = systemError(errno, "cannot write");
            static_cast<void>(ftruncate(placeholder.get(), 0) == 0);
            return failure;
        }
        done += static_cast<std::size_t>(count);
    }
    return {};
}

/// Whoever has made an empty file for a thumbnail may hold it open, as Tumbler does, and reads that one, whatever takes
/// its name. All other files are replaced.
Result<void> writeTo(const std::string& name, ByteView content)
{
    if (UniqueFd placeholder = placeholderAt(name))
        return fill(placeholder, content);
    MV_TRY(file, OutputFile::create(name));
    MV_TRY_VOID(file->writeAt(0, content));
    return file->commit();
}

int makeThumbnail(const std::string& input, const std::string& output, int side)
{
    auto file = openInput(input);
    if (!file)
        return failed(input, file.error());
    // The thumbnail would be all that is left of it.
    if (file->isSameFileAs(attributesAt(output)))
        return failed(input, { Error::Kind::State, "input and output are the same file" });
    auto preview = previewOf(*file, side);
    if (!preview)
        return failed(input, preview.error());
    auto written = writeTo(output, pngOf(preview->picture, textsOf(*preview)));
    return written ? Done : failed(output, written.error());
}

} // namespace

Program thumbnailerProgram()
{
    return { .name = "mivo-thumbnailer",
        .synopsis = "[OPTION...] INPUT OUTPUT",
        .summary = "Make a thumbnail of a picture, of the cover of a song or of a frame of a video",
        .details
        = "INPUT is a path or a file: URI. OUTPUT becomes a PNG file, whatever its name, whole or not at all. The\n"
          "thumbnail is upright and keeps proportions and transparency; nothing is enlarged.\n\n"
          "Desktop environments start this program in sandboxes of their own. It needs no bus, no network and\n"
          "no settings, and has files read in a closed process.",
        .options = Options,
        .files = Files,
        .statuses = Statuses };
}

int runThumbnailer(const std::vector<std::string>& words)
{
    // One line says why there is no thumbnail, and that is ours.
    setLogSink([](std::string_view) {});
    // Past a limit of file lengths a write is to fail as on a full disk.
    std::signal(SIGXFSZ, SIG_IGN);
    auto arguments = Arguments::parse(Options, words);
    if (!arguments)
        return misuse(arguments.error().text);
    if (arguments->has("help"))
        return say(helpText(thumbnailerProgram()));
    if (arguments->has("version"))
        return say("mivo-thumbnailer " MIVO_VERSION "\n");
    const auto& files = arguments->files();
    if (files.size() != 2)
        return misuse("an input and an output are needed");
    return makeThumbnail(files[0], files[1], arguments->number("size", UsualSide));
}

} // namespace mv
