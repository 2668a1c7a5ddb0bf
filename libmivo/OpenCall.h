#pragma once

#include "client/Media1Client.h"
#include "libmivo/Conversion.h"

#include <memory>
#include <mivo/Error.h>
#include <mivo/Pending.h>
#include <optional>
#include <utility>

namespace mivo {

class MediaContent;
class MediaLine;

/// A call of a MediaClient, from the moment that it is made until it is ready.
class OpenCall : public std::enable_shared_from_this<OpenCall> {
public:
    /// Jobs begin by a connection that is kept for them.
    enum class Kind { Answer, Job };

    OpenCall(std::weak_ptr<MediaContent> client, Kind kind)
        : m_client(std::move(client))
        , m_kind(kind)
    {
    }
    virtual ~OpenCall() = default;
    OpenCall(const OpenCall&) = delete;
    OpenCall& operator=(const OpenCall&) = delete;

    virtual mv::MediaCallNumber sendBy(mv::Media1Client& client) = 0;
    virtual bool isReady() const = 0;
    virtual void fail(Error why) = 0;
    /// Calls whom the answer is to be told to, where there is somebody.
    virtual void tell() = 0;
    virtual bool isToBeTold() const = 0;
    /// Nobody is to be told.
    virtual void silence() = 0;

    /// Null when the client has ended.
    std::shared_ptr<MediaContent> client() const { return m_client.lock(); }
    Kind kind() const { return m_kind; }

    MediaLine* line = nullptr; ///< that it is under way by
    mv::MediaCallNumber number = 0; ///< of it there
    std::uint64_t startsSeen = 0; ///< of the service, when it was sent
    bool wasSentAgain = false;

protected:
    /// Is ready, or is to be sent again.
    void noteResult(const mv::Error* error);

private:
    std::weak_ptr<MediaContent> m_client;
    Kind m_kind;
};

/// The same with what it gives.
template <class T> class PendingContent final : public OpenCall {
public:
    using Told = std::function<void(mv::Result<T>)>;
    using Send = std::function<mv::MediaCallNumber(mv::Media1Client&, Told)>;

    PendingContent(std::weak_ptr<MediaContent> client, Kind kind, Send send)
        : OpenCall(std::move(client), kind)
        , m_send(std::move(send))
    {
    }

    mv::MediaCallNumber sendBy(mv::Media1Client& by) override
    {
        return m_send(by, [kept = std::weak_ptr(this->weak_from_this())](mv::Result<T> result) {
            if (auto self = std::static_pointer_cast<PendingContent>(kept.lock()))
                self->take(std::move(result));
        });
    }
    bool isReady() const override { return m_isReady; }
    void fail(Error why) override
    {
        error = std::move(why);
        m_isReady = true;
    }
    bool isToBeTold() const override { return isReady() && callback; }
    void tell() override
    {
        if (auto told = std::exchange(callback, {}))
            told(Pending<T>(std::static_pointer_cast<PendingContent>(this->shared_from_this())));
    }
    void silence() override { callback = {}; }

    std::optional<T> value; ///< until it is given to the caller
    std::optional<Error> error;
    typename Pending<T>::Callback callback;

private:
    void take(mv::Result<T> result)
    {
        if (m_isReady)
            return;
        if (result) {
            value.emplace(std::move(*result));
            m_isReady = true;
        }
        noteResult(result ? nullptr : &result.error());
    }

    Send m_send;
    bool m_isReady = false;
};

} // namespace mivo
