#pragma once

#include "bus/ServedObject.h"
#include "service/include/MVMediaInfoBuilder.h"

namespace mv {

/// Mivo.MVMediaInfoBuilder.
class MediaInfoAdaptor : public ServedObject {
public:
    explicit MediaInfoAdaptor(std::unique_ptr<MVMediaInfoBuilder> root)
        : m_root(std::move(root))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void build(Call& call);

protected:
    std::unique_ptr<MVMediaInfoBuilder> m_root;
};

} // namespace mv
