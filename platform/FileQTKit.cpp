#include "platform/FileQTKit.h"

#include "movies/MovieBackend.h"

#include "Base/Core/ByteReader.h"
#include "movies/IsoMovie.h"
#include "platform/FileMovie.h"
#include "system/InputFile.h"

#include <algorithm>

namespace mv {

namespace {

/// The media types that have a media handler.
constexpr OSType MediaHandlers[] = {
    fourCC("vide"),
    fourCC("soun"),
    fourCC("text"),
    fourCC("sbtl"),
    fourCC("subt"),
    fourCC("subp"),
    fourCC("clcp"),
    fourCC("tmcd"),
    fourCC("hint"),
    fourCC("strm"),
    fourCC("musi"),
    fourCC("MPEG"),
    fourCC("meta"),
    fourCC("mp4s"),
    fourCC("sdsm"),
    fourCC("odsm"),
    fourCC("gnrc"),
    fourCC("sprt"),
    fourCC("flsh"),
    fourCC("moov"),
    fourCC("twen"),
    fourCC("qd3d"),
    fourCC("skin"),
    fourCC("qtvr"),
    fourCC("pano"),
    fourCC("obje"),
    fourCC("stpn"),
};

} // namespace

QTKit& QTKit::shared()
{
    static FileQTKit toolkit(DefaultDeadline);
    return toolkit;
}

bool FileQTKit::canInitWithFile(const OpenedFile& file)
{
    const auto& content = file.content();
    return content.ok() && (beginsLikeIsoMedia(**content) || installedMovieBackend().recognises(*content));
}

Result<std::unique_ptr<QTMovie>> FileQTKit::initWithFile(const OpenedFile& file)
{
    return FileMovie::open(file, m_deadline);
}

bool FileQTKit::findNextComponent(const ComponentDescription& description)
{
    OSType format = description.componentSubType;
    switch (description.componentType) {
    case fourCC("imdc"):
        return installedMovieBackend().hasVideoDecoder(format);
    case fourCC("sdec"):
        return installedMovieBackend().hasAudioDecoder(format);
    case fourCC("adec"):
        return installedMovieBackend().hasAudioDecoder(format) && !installedMovieBackend().isUncompressedAudio(format);
    case fourCC("mhlr"):
        return std::find(std::begin(MediaHandlers), std::end(MediaHandlers), format) != std::end(MediaHandlers);
    default:
        return false;
    }
}

} // namespace mv
