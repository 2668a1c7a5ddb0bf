#pragma once

#include "client/BorrowedAttributes.h"
#include "client/ServiceBus.h"

#include <memory>
#include <mutex>

namespace mivo {

/// What the Clients of this process have of the service's one encoder, which hands a job its paths, its attributes and
/// its delegate through what all its clients see: jobs begin one after the other. The attributes from before the first
/// job come back when the last has ended.
class EncoderUse {
public:
    /// The one that is there, with these attributes for the next job. Only while `beginning` is locked.
    static mv::Result<std::shared_ptr<EncoderUse>> with(const mv::Record& attributes);

    /// Held from before a job's attributes are set until the service has begun it, and while a use ends.
    static std::mutex& beginning();

    explicit EncoderUse(std::unique_ptr<mv::ServiceBus> bus);

private:
    // No thread's own: whoever begins or ends a job uses it.
    std::unique_ptr<mv::ServiceBus> m_bus;
    mv::Mp3EncoderClient m_encoder;
    std::unique_ptr<mv::BorrowedAttributes> m_borrowed;
};

} // namespace mivo
