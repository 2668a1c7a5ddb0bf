#pragma once

#include "bus/ServedObject.h"
#include "service/host/adaptors/ClientDelegate.h"
#include "service/include/MVAudioEncoderBase.h"

namespace mv {

/// Mivo.MVAudioEncoderBase of an encoder that is somebody else's, with the client's delegate as
/// Mivo.MVAudioEncoderDelegate. An encoder has one for its service, and one for each job on a thread of its own.
class AudioEncoderInterface : public ServedObject {
public:
    AudioEncoderInterface(MVAudioEncoderBase& encoder, std::uint64_t delegateTimeout)
        : m_encoder(encoder)
        , m_delegateTimeout(delegateTimeout)
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void setAttributes(Call& call);
    void attributes(Call& call);
    void setDelegate(Call& call);
    void encodeFileOutputFile(Call& call);
    void encodeOnThreadFileOutputFile(Call& call);

private:
    MVAudioEncoderBase& m_encoder;
    std::uint64_t m_delegateTimeout;
};

/// The root object of the encoder's service.
class AudioEncoderAdaptor final : public AudioEncoderInterface {
public:
    explicit AudioEncoderAdaptor(
        std::unique_ptr<MVAudioEncoderBase> root, std::uint64_t delegateTimeout = DelegateTimeoutMicroseconds)
        : AudioEncoderInterface(*root, delegateTimeout)
        , m_root(std::move(root))
    {
    }

private:
    std::unique_ptr<MVAudioEncoderBase> m_root;
};

} // namespace mv
