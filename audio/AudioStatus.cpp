#include "audio/AudioStatus.h"

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

} // namespace mv
