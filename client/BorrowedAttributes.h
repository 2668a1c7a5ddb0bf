#pragma once

#include "client/Mp3EncoderClient.h"

#include <memory>

namespace mv {

/// The attributes of the service's one encoder, put back at the end for its other clients.
class BorrowedAttributes {
public:
    /// The encoder must outlive what this gives.
    static Result<std::unique_ptr<BorrowedAttributes>> set(Mp3EncoderClient& encoder, const Record& attributes);
    ~BorrowedAttributes();
    BorrowedAttributes(const BorrowedAttributes&) = delete;
    BorrowedAttributes& operator=(const BorrowedAttributes&) = delete;

private:
    BorrowedAttributes(Mp3EncoderClient& encoder, Record before)
        : m_encoder(encoder)
        , m_before(std::move(before))
    {
    }

    Mp3EncoderClient& m_encoder;
    Record m_before;
};

} // namespace mv
