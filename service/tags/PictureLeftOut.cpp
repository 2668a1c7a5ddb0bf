#include "service/tags/PictureLeftOut.h"

#include "Base/Core/NSLog.h"
#include "Base/Media/TagLimits.h"

namespace mv {

void logPictureLeftOut(const Path& path)
{
    constexpr int MiB = 20;
    NSLog("The picture is left out of %s: tags have at most %zu MiB", path.c_str(), MaxTagBytes >> MiB);
}

} // namespace mv
