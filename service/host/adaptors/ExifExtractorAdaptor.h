#pragma once

#include "bus/ServedObject.h"
#include "service/include/MVExifExtractorBase.h"

namespace mv {

/// Mivo.MVExifExtractorBase.
class ExifExtractorAdaptor final : public ServedObject {
public:
    explicit ExifExtractorAdaptor(std::unique_ptr<MVExifExtractorBase> root)
        : m_root(std::move(root))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void extractExif(Call& call);

private:
    std::unique_ptr<MVExifExtractorBase> m_root;
};

} // namespace mv
