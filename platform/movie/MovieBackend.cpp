#include "platform/movie/MovieBackend.h"

#include "platform/ffmpeg/BackendParts.h"

namespace mv {

MovieBackend& unavailableMovieBackend()
{
    static MovieBackend backend;
    return backend;
}

} // namespace mv
