// Any bytes as an MP3 file, described whole, cover included. The movie toolkit opens nothing here; it has a target of
// its own.

#include "Base/Media/MediaDB.h"
#include "ffmpeg/MediaBackend.h"
#include "fuzz/HandedOver.h"
#include "fuzz/OpenedBytes.h"
#include "platform/QTKit.h"
#include "service/parsers/MP3Parser.h"

#include <cstdlib>

namespace {

class NoMovies final : public mv::QTKit {
public:
    bool canInitWithFile(const mv::OpenedFile&) override { return false; }
    mv::Result<std::unique_ptr<mv::QTMovie>> initWithFile(const mv::OpenedFile&) override
    {
        return mv::Error { mv::Error::Kind::Unsupported, "no movies here" };
    }
    void enterQTKitOnThread() override { }
    void exitQTKitOnThread() override { }
    bool findNextComponent(const mv::ComponentDescription&) override { return false; }
};

} // namespace

/// No media library in this program.
mv::MovieBackend& mv::installedMovieBackend()
{
    static MovieBackend backend;
    return backend;
}

mv::AudioBackend& mv::installedAudioBackend()
{
    static AudioBackend backend;
    return backend;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static NoMovies movies;
    auto record = mv::MP3Parser(movies).build(mv::fuzz::openedBytes(data, size, "song.mp3"));
    if (record && (!record->string(mv::MediaDBMusicColumnGenre) || !record->integer(mv::MediaDBMusicColumnPlayLength)))
        std::abort();
    if (record)
        mv::fuzz::handOver(*record);
    return 0;
}
