#include "libmivo/EncoderUse.h"

namespace mivo {

namespace {

std::weak_ptr<EncoderUse> s_current; // guarded by EncoderUse::beginning()

} // namespace

std::mutex& EncoderUse::beginning()
{
    static std::mutex lock;
    return lock;
}

EncoderUse::EncoderUse(std::unique_ptr<mv::ServiceBus> bus)
    : m_bus(std::move(bus))
    , m_encoder(*m_bus)
{
}

mv::Result<std::shared_ptr<EncoderUse>> EncoderUse::with(const mv::Record& attributes)
{
    auto use = s_current.lock();
    if (use) {
        MV_TRY_VOID(mv::resultOf([&] { use->m_encoder.setAttributes(attributes); }));
        return use;
    }
    MV_TRY(bus, mv::ServiceBus::open());
    use = std::make_shared<EncoderUse>(std::move(bus));
    MV_TRY(borrowed, mv::BorrowedAttributes::set(use->m_encoder, attributes));
    use->m_borrowed = std::move(borrowed);
    s_current = use;
    return use;
}

} // namespace mivo
