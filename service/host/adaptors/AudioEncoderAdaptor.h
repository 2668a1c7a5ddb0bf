#pragma once

#include "platform/ipc/ServedObject.h"
#include "service/include/MVAudioEncoderBase.h"

namespace mv {

/// Mivo.MVAudioEncoderBase, with the client's delegate as Mivo.MVAudioEncoderDelegate.
class AudioEncoderAdaptor final : public ServedObject {
public:
    explicit AudioEncoderAdaptor(std::unique_ptr<MVAudioEncoderBase> root)
        : m_root(std::move(root))
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
};

} // namespace mv
