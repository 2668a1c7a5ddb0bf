#pragma once

#include "platform/ipc/ServedObject.h"
#include "service/include/MVMP4ExporterBase.h"

namespace mv {

/// Mivo.MVMP4ExporterBase, with the client's delegate as Mivo.MVMP4ExporterDelegate.
class MP4ExporterAdaptor final : public ServedObject {
public:
    explicit MP4ExporterAdaptor(std::unique_ptr<MVMP4ExporterBase> root)
        : m_root(std::move(root))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void exportWithDelegateFromPathToMp4Path(Call& call);
    void convertToAacWithDelegateFromPathToMp4PathBitrate(Call& call);
    void isAlacAudio(Call& call);

private:
    std::unique_ptr<MVMP4ExporterBase> m_root;
};

} // namespace mv
