#pragma once

#include "client/Media1Client.h"
#include "tests/support/FakeMedia.h"
#include "tests/support/PrivateBus.h"

#include <gmock/gmock.h>
#include <memory>
#include <string>
#include <string_view>

namespace mv {

using test::FakeCall;
using test::FakeMedia;

inline void putText(WireWriter& out, std::string_view key, std::string_view text)
{
    out.entry(key, "s", [&] { out.string(text); });
}

inline void putTitle(WireWriter& out, std::string_view title)
{
    out.list("{sv}", [&] { putText(out, fact::Title, title); });
}

/// A client of Mivo.Media1 on a bus of its own.
class Media1ClientTest : public testing::Test {
protected:
    /// Of a service that answers everything so.
    template <class T> Result<T> answerOf(const MediaRequest<T>& request, const std::function<void(WireWriter&)>& fill)
    {
        FakeMedia service([&](FakeCall call) { call.answer(fill); });
        return m_client.call(request);
    }
    template <class T> std::string errorOf(const Result<T>& result)
    {
        EXPECT_FALSE(result.ok());
        return result.ok() ? "" : result.error().name;
    }

    test::PrivateBus m_privateBus;
    std::unique_ptr<ServiceBus> m_bus = std::move(ServiceBus::open()).value();
    Media1Client m_client { *m_bus };
};

} // namespace mv
