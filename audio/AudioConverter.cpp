#include "audio/AudioConverter.h"

namespace mv {

OSStatus AudioConverter::setProperty(std::uint32_t, std::uint32_t, const void*)
{
    return kAudioConverterErr_PropertyNotSupported;
}

OSStatus AudioConverterSetProperty(
    AudioConverterRef converter, std::uint32_t property, std::uint32_t size, const void* data)
{
    if (!converter || !data)
        return paramErr;
    return converter->setProperty(property, size, data);
}

} // namespace mv
