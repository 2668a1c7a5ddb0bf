#include "service/encoder/MVAudioEncoder.h"

#include <utility>

namespace mv {

MVAudioEncoder::MVAudioEncoder()
    : m_encodeOptions { { MVAudioEncoderSamplingRateAttribute, 0 }, { MVAudioEncoderBitrateAttribute, 192000 },
        { MVAudioEncoderVBRAttribute, false } }
{
}

void MVAudioEncoder::setAttributes(const Record&) { }
void MVAudioEncoder::encodeOnThreadFileOutputFile(const OpenedFile&, const SharedPlace&) { }
bool MVAudioEncoder::encodeFileOutputFile(const OpenedFile&, const SharedPlace&) { return false; }

Record MVAudioEncoder::attributes() const
{
    MutexLock hold(m_lock);
    return m_encodeOptions;
}

void MVAudioEncoder::mergeAttributes(const Record& attributes)
{
    MutexLock hold(m_lock);
    m_encodeOptions.merge(attributes);
}

void MVAudioEncoder::setDelegate(std::shared_ptr<MVAudioEncoderDelegate> delegate)
{
    // The former delegate may be destroyed here, which must not happen under the lock.
    {
        MutexLock hold(m_lock);
        m_delegate.swap(delegate);
    }
}

std::shared_ptr<MVAudioEncoderDelegate> MVAudioEncoder::delegate() const
{
    MutexLock hold(m_lock);
    return m_delegate;
}

std::shared_ptr<MVAudioEncoderDelegate> MVAudioEncoder::delegateOfJob()
{
    auto client = delegate();
    auto own = client ? client->delegateOfJob(*this) : nullptr;
    return own ? own : client;
}

} // namespace mv
