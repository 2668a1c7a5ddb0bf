#pragma once

#include <mivo/Error.h>
#include <mivo/Export.h>

#include <chrono>
#include <functional>
#include <memory>

namespace mivo {

class MediaContent;
template <class T> class PendingContent;

/// What a call of a MediaClient will give. Belongs to the client's thread, as everything of the client does.
///
/// Waited for, asked now and then, or told: whichever suits the program. Dropping one that is not ready cancels its
/// call. To be moved, not copied.
template <class T> class MIVO_API Pending {
public:
    using Callback = std::function<void(Pending<T> ready)>;

    /// Of no call.
    Pending() noexcept;
    Pending(Pending&& other) noexcept;
    Pending& operator=(Pending&& other) noexcept;
    ~Pending();

    /// True when the answer, or an error, is there: get() does not wait.
    bool isReady() const noexcept;
    /// Waits for the answer, and gives it to the caller, once; throws Error where the call failed. Other calls'
    /// callbacks are called meanwhile.
    T get();
    /// Waits no longer than that; false where it is not ready then.
    bool waitFor(std::chrono::milliseconds longest);
    /// Why the call failed; null where it did not, and where it is not ready. Valid as long as this object.
    const Error* error() const noexcept;

    /// `callback` is called with the ready answer, once, on the thread that dispatches or waits, never within then().
    /// This object still owns the call: dropping it cancels, and then nothing is called.
    void then(Callback callback) &;
    /// The same where nobody is left to own the call, `client.describe(path).then(...)`: it goes on until it is
    /// answered or the client ends.
    void then(Callback callback) &&;

    /// Gives the call up: it is ready, with Error::Kind::Cancelled, and its callback is not called. See MediaClient for
    /// what the service hears of it.
    void cancel();

private:
    friend class MediaContent;
    template <class U> friend class PendingContent;
    MIVO_INTERNAL explicit Pending(std::shared_ptr<PendingContent<T>> content) noexcept;

    std::shared_ptr<PendingContent<T>> m_content; // null is of no call
};

} // namespace mivo
