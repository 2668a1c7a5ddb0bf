#include "service/transcode/MVAudioDecoder.h"

namespace mv {

std::int32_t MVAudioDecoder::readPCMSampleCount(AudioBufferList*, std::uint32_t) { return 0; }
bool MVAudioDecoder::canDecodeWithPath(const OpenedFile&) { return false; }
bool MVAudioDecoder::prepareWithPath(const OpenedFile&) { return false; }
bool MVAudioDecoder::deliverExactStereo() { return false; }

} // namespace mv
