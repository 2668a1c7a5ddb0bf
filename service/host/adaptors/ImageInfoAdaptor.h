#pragma once

#include "service/host/adaptors/MediaInfoAdaptor.h"
#include "service/include/MVImageInfoBuilder.h"

namespace mv {

/// Mivo.MVMediaInfoBuilder and Mivo.MVImageInfoBuilder.
class ImageInfoAdaptor final : public MediaInfoAdaptor {
public:
    explicit ImageInfoAdaptor(std::unique_ptr<MVImageInfoBuilder> root)
        : MediaInfoAdaptor(std::move(root))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void makeThumbnailWithMaxSize(Call& call);
};

} // namespace mv
