#pragma once

#include "platform/ipc/ServedObject.h"
#include "service/host/adaptors/ClientDelegate.h"
#include "service/include/MVAudioEncoderBase.h"

namespace mv {

/// Mivo.MVAudioEncoderBase, with the client's delegate as Mivo.MVAudioEncoderDelegate.
class AudioEncoderAdaptor final : public ServedObject {
public:
    explicit AudioEncoderAdaptor(
        std::unique_ptr<MVAudioEncoderBase> root, std::uint64_t delegateTimeout = DelegateTimeoutMicroseconds)
        : m_root(std::move(root))
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
    std::unique_ptr<MVAudioEncoderBase> m_root;
    std::uint64_t m_delegateTimeout;
};

} // namespace mv
