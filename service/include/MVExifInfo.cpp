#include "service/include/MVExifExtractorBase.h"

namespace mv {

void MVExifInfo::setValues(const MVExifInfo& source)
{
    // Deliberate: clients know a copy by its vendor, which is the source's version text, and by a version of its
    // own that stays.
    Text ownVersion = version;
    Text sourceVersion = source.version;
    *this = source;
    vendor = std::move(sourceVersion);
    version = std::move(ownVersion);
}

} // namespace mv
