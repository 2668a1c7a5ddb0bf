#pragma once

#include "service/include/MVAudioEncoderBase.h"
#include "system/Mutex.h"

namespace mv {

/// What encoders share: the attributes and the delegate. The operations that start a job or set attributes are
/// placeholders. Attributes and delegate may be read and set from several threads at once.
class MVAudioEncoder : public MVAudioEncoderBase {
public:
    /// Sampling rate 0 (the input's), bit rate 192000, no variable bit rate.
    MVAudioEncoder();

    void setAttributes(const Record& attributes) override;
    Record attributes() const override;
    void encodeOnThreadFileOutputFile(const OpenedFile& input, const SharedPlace& output) override;
    bool encodeFileOutputFile(const OpenedFile& input, const SharedPlace& output) override;
    void setDelegate(std::shared_ptr<MVAudioEncoderDelegate> delegate) override;

protected:
    std::shared_ptr<MVAudioEncoderDelegate> delegate() const;
    /// The delegate for a job that begins on this thread; null without one.
    std::shared_ptr<MVAudioEncoderDelegate> delegateOfJob();
    void mergeAttributes(const Record& attributes);

private:
    mutable Mutex m_lock;
    Record m_encodeOptions MV_GUARDED_BY(m_lock);
    std::shared_ptr<MVAudioEncoderDelegate> m_delegate MV_GUARDED_BY(m_lock);
};

} // namespace mv
