#include "libmivo/MediaContent.h"

#include <mivo/MediaClient.h>
#include <utility>

namespace mivo {

template <class T> Pending<T>::Pending() noexcept = default;

template <class T>
Pending<T>::Pending(std::shared_ptr<PendingContent<T>> content) noexcept
    : m_content(std::move(content))
{
}

template <class T> Pending<T>::Pending(Pending&& other) noexcept = default;

template <class T> Pending<T>& Pending<T>::operator=(Pending&& other) noexcept
{
    if (this != &other) {
        Pending dropped(std::move(*this));
        m_content = std::move(other.m_content);
    }
    return *this;
}

template <class T> Pending<T>::~Pending()
{
    try {
        cancel();
    } catch (const std::exception&) {
        // Another thread is at the client: the call goes on, and nobody hears of it.
    }
}

template <class T> bool Pending<T>::isReady() const noexcept { return !m_content || m_content->isReady(); }

template <class T> bool Pending<T>::waitFor(std::chrono::milliseconds longest)
{
    auto client = m_content ? m_content->client() : nullptr;
    if (client && !isReady())
        client->serveUntil([&] { return isReady(); }, MediaContent::after(longest));
    return isReady();
}

template <class T> T Pending<T>::get()
{
    if (!m_content)
        throw Error(Error::Kind::InvalidArgument, "nothing was called");
    if (auto client = m_content->client(); client && !isReady())
        client->serveUntil([&] { return isReady(); });
    if (m_content->error)
        throw Error(*m_content->error);
    if (!m_content->value)
        throw Error(Error::Kind::InvalidArgument, "the answer has been given already");
    T given = std::move(*m_content->value);
    m_content->value.reset();
    return given;
}

template <class T> const Error* Pending<T>::error() const noexcept
{
    return m_content && m_content->error ? &*m_content->error : nullptr;
}

template <class T> void Pending<T>::then(Callback callback) &
{
    if (!m_content)
        throw Error(Error::Kind::InvalidArgument, "nothing was called");
    m_content->callback = std::move(callback);
    if (auto client = m_content->client(); client && m_content->isToBeTold())
        client->callBack([content = m_content] { content->tell(); });
}

template <class T> void Pending<T>::then(Callback callback) &&
{
    then(std::move(callback));
    m_content.reset();
}

template <class T> void Pending<T>::cancel()
{
    if (!m_content)
        return;
    if (auto client = m_content->client())
        client->cancel(*m_content);
}

template class Pending<Record>;
template class Pending<Description>;
template class Pending<std::vector<Described>>;
template class Pending<Picture>;
template class Pending<Job>;

} // namespace mivo
