#pragma once

#include "bus/ServedObject.h"
#include "service/include/MVExifExtractorBase.h"

namespace mv {

/// Mivo.MVExifInfo: a property for each field of the record, setValues, release.
class ExifInfoAdaptor final : public ServedObject {
public:
    /// `client` is the unique name of whom it is made for.
    ExifInfoAdaptor(std::shared_ptr<MVExifInfo> info, std::string client)
        : m_info(std::move(info))
        , m_client(std::move(client))
    {
    }
    std::span<const ServedInterface> interfaces() const override;

    void setValues(Call& call);
    void release(Call& call);

    MVExifInfo& info() { return *m_info; }

private:
    std::shared_ptr<MVExifInfo> m_info;
    std::string m_client;
};

} // namespace mv
