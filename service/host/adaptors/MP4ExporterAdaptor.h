#pragma once

#include "bus/ServedObject.h"
#include "service/host/adaptors/ClientDelegate.h"
#include "service/include/MVMP4ExporterBase.h"

namespace mv {

/// Mivo.MVMP4ExporterBase, with the client's delegate as Mivo.MVMP4ExporterDelegate.
class MP4ExporterAdaptor final : public ServedObject {
public:
    explicit MP4ExporterAdaptor(
        std::unique_ptr<MVMP4ExporterBase> root, std::uint64_t delegateTimeout = DelegateTimeoutMicroseconds)
        : m_root(std::move(root))
        , m_delegateTimeout(delegateTimeout)
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void exportWithDelegateFromPathToMp4Path(Call& call);
    void convertToAacWithDelegateFromPathToMp4PathBitrate(Call& call);
    void isAlacAudio(Call& call);

private:
    std::unique_ptr<MVMP4ExporterBase> m_root;
    std::uint64_t m_delegateTimeout;
};

} // namespace mv
