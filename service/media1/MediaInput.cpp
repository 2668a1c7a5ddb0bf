#include "service/media1/MediaInput.h"

#include "Base/Core/Text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

MediaErrorKind kindOf(const Error& error)
{
    switch (error.kind) {
    case Error::Kind::NotFound:
        return MediaErrorKind::NotFound;
    case Error::Kind::Access:
        return MediaErrorKind::AccessDenied;
    default:
        return MediaErrorKind::Failed;
    }
}

bool isReadable(int flags) { return flags >= 0 && !(flags & O_PATH) && (flags & O_ACCMODE) != O_WRONLY; }

} // namespace

std::string mediaSentence(MediaErrorKind kind, const std::string& name)
{
    const char* form = "\"%s\" cannot be read.";
    switch (kind) {
    case MediaErrorKind::NotFound:
        form = "There is no file \"%s\".";
        break;
    case MediaErrorKind::AccessDenied:
        form = "\"%s\" may not be read.";
        break;
    case MediaErrorKind::NotRegular:
        form = "\"%s\" is no regular file.";
        break;
    case MediaErrorKind::NotMedia:
        form = "\"%s\" is no song, video or picture of a format that is read.";
        break;
    case MediaErrorKind::NoPicture:
        form = "\"%s\" has nothing to make a thumbnail of.";
        break;
    case MediaErrorKind::TooLarge:
        form = "\"%s\" is larger than can be read.";
        break;
    case MediaErrorKind::TimedOut:
        form = "Reading \"%s\" took too long and was given up.";
        break;
    case MediaErrorKind::Crashed:
        form = "The process that read \"%s\" died; the file is left alone for a while.";
        break;
    case MediaErrorKind::Cancelled:
        form = "Reading \"%s\" was cancelled.";
        break;
    default:
        break;
    }
    return formatText(form, cleanedUtf8(name).c_str());
}

std::string MediaInput::shownName() const
{
    std::string name(m_text.empty() ? std::string_view() : Path(m_text).lastPathComponent());
    return name.empty() ? "the file" : name;
}

OpenedFile MediaInput::open()
{
    OpenedFile file = m_hasPath ? OpenedFile::at(m_text) : takeHandle();
    check(file);
    return file;
}

std::unique_ptr<EditableFile> MediaInput::edit() const
{
    auto file = EditableFile::at(Path(m_text));
    check(file->opened());
    return file;
}

void MediaInput::check(const OpenedFile& file) const
{
    if (!file.exists())
        throw mediaError(kindOf(file.attributes().error()), shownName());
    if (!file.attributes()->isRegularFile)
        throw mediaError(MediaErrorKind::NotRegular, shownName());
    if (!file.content())
        throw mediaError(kindOf(file.content().error()), shownName());
}

OpenedFile MediaInput::takeHandle()
{
    int flags = fcntl(m_handle.get(), F_GETFL);
    if (!isReadable(flags))
        throw mediaError(MediaErrorKind::AccessDenied, shownName());
    OpenedFile file = OpenedFile::adopt(m_text.empty() ? Path() : Path(m_text), std::move(m_handle));
    if (file.descriptor() < 0)
        return file;
    // A process that reads other people's files is given nothing that it could write into, nor, where that can be had,
    // the client's own place in the file, which it could move.
    auto ofItsOwn = file.contentAsFile()->openForReadingOnly();
    if (ofItsOwn)
        return OpenedFile::adopt(file.path(), std::move(*ofItsOwn));
    if ((flags & O_ACCMODE) != O_RDONLY)
        throw mediaError(MediaErrorKind::AccessDenied, shownName());
    return file;
}

} // namespace mv
