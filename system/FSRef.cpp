#include "system/FSRef.h"

namespace mv {

OSStatus FSPathMakeRef(const OpenedFile& file, FSRef& ref)
{
    if (file.path().isNil())
        return paramErr;
    if (!file.exists())
        return file.attributes().error().kind == Error::Kind::Access ? permErr : fnfErr;
    ref = { file, nullptr };
    return noErr;
}

} // namespace mv
