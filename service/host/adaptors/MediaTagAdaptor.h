#pragma once

#include "bus/ServedObject.h"
#include "service/include/MVMediaTagBase.h"

namespace mv {

/// Mivo.MVMediaTagBase.
class MediaTagAdaptor final : public ServedObject {
public:
    explicit MediaTagAdaptor(std::unique_ptr<MVMediaTagBase> root)
        : m_root(std::move(root))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void podcastInfo(Call& call);
    void updateTagWithDictionary(Call& call);

private:
    std::unique_ptr<MVMediaTagBase> m_root;
};

} // namespace mv
