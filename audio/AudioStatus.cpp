#include "audio/AudioStatus.h"

#include <cerrno>

namespace mv {

OSStatus statusOfKind(Error::Kind kind)
{
    switch (kind) {
    case Error::Kind::NotFound:
        return fnfErr;
    case Error::Kind::Access:
        return permErr;
    case Error::Kind::Format:
        return kAudioFileInvalidFileError;
    case Error::Kind::Unsupported:
        return kAudioFileUnsupportedFileTypeError;
    case Error::Kind::Limit:
        return memFullErr;
    case Error::Kind::Io:
    case Error::Kind::Cancelled:
    case Error::Kind::State:
        break;
    }
    return ioErr;
}

OSStatus statusOfWriting(const Error& error)
{
    if (error.kind == Error::Kind::Io && (error.code == ENOSPC || error.code == EDQUOT || error.code == EFBIG))
        return dskFulErr;
    return statusOfKind(error.kind);
}

} // namespace mv
