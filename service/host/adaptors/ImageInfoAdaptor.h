#pragma once

#include "bus/ServedObject.h"
#include "service/include/MVImageInfoBuilder.h"

namespace mv {

/// Mivo.MVMediaInfoBuilder and Mivo.MVImageInfoBuilder.
class ImageInfoAdaptor final : public ServedObject {
public:
    explicit ImageInfoAdaptor(std::unique_ptr<MVImageInfoBuilder> root)
        : m_root(std::move(root))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void build(Call& call);
    void makeThumbnailWithMaxSize(Call& call);

private:
    std::unique_ptr<MVImageInfoBuilder> m_root;
};

} // namespace mv
