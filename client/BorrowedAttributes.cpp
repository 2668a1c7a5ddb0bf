#include "client/BorrowedAttributes.h"

namespace mv {

Result<std::unique_ptr<BorrowedAttributes>> BorrowedAttributes::set(Mp3EncoderClient& encoder, const Record& attributes)
{
    MV_TRY(before, resultOf([&] { return encoder.attributes(); }));
    Record changedBack;
    for (const auto& [key, value] : attributes) {
        const Value* old = before.find(key);
        // A key cannot be taken away again; the only one that may be missing is the flag, where NO says the same.
        changedBack.set(key, old ? *old : Value(false));
    }
    MV_TRY_VOID(resultOf([&] { encoder.setAttributes(attributes); }));
    return std::unique_ptr<BorrowedAttributes>(new BorrowedAttributes(encoder, std::move(changedBack)));
}

BorrowedAttributes::~BorrowedAttributes()
{
    (void)resultOf([&] { m_encoder.setAttributes(m_before); }).ok();
}

} // namespace mv
