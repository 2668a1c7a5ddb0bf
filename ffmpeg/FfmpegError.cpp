#include "ffmpeg/FfmpegError.h"

#include <array>
#include <cerrno>

namespace mv {

namespace {

Error::Kind kindOf(int code)
{
    switch (code) {
    case AVERROR_EXIT:
    case AVERROR(ENOMEM):
        return Error::Kind::Limit;
    case AVERROR(EIO):
        return Error::Kind::Io;
    case AVERROR(EACCES):
    case AVERROR(EPERM):
        return Error::Kind::Access;
    case AVERROR(ENOENT):
        return Error::Kind::NotFound;
    case AVERROR_DECODER_NOT_FOUND:
    case AVERROR_ENCODER_NOT_FOUND:
    case AVERROR_DEMUXER_NOT_FOUND:
    case AVERROR_MUXER_NOT_FOUND:
    case AVERROR_PATCHWELCOME:
        return Error::Kind::Unsupported;
    default:
        return Error::Kind::Format;
    }
}

} // namespace

std::string ffmpegErrorText(int code)
{
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text {};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

Error ffmpegError(int code, const char* what)
{
    // A read that we broke off ourselves comes back as "exit requested".
    std::string text = code == AVERROR_EXIT ? "took too long" : ffmpegErrorText(code);
    return { kindOf(code), std::string(what) + ": " + text, code };
}

} // namespace mv
