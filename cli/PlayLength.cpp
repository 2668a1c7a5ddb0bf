#include "cli/PlayLength.h"

#include "Base/Media/MediaDB.h"
#include "client/MediaInfoClient.h"

namespace mv::cli {

double playLength(ServiceBus& bus, const Path& path)
{
    auto record = describeFile(bus, path);
    if (!record || !*record)
        return 0;
    return static_cast<double>((*record)->integer(MediaDBMusicColumnPlayLength).value_or(0));
}

} // namespace mv::cli
