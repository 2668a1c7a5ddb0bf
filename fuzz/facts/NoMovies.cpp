// FFmpeg has its own targets: here it is missing.
#include "movies/MovieBackend.h"

namespace mv {

MovieBackend& installedMovieBackend()
{
    static MovieBackend backend;
    return backend;
}

} // namespace mv
