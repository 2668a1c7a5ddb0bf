#pragma once

#include "tests/support/Eventually.h"
#include "tests/support/FakeMedia.h"
#include "tests/support/PrivateBus.h"

#include <gmock/gmock.h>
#include <mivo/mivo.h>
#include <string>
#include <string_view>

namespace mivo {

using mv::WireReader;
using mv::WireWriter;
using mv::test::FakeCall;
using mv::test::FakeMedia;

/// What the call throws; fails the test when it is nothing.
template <class Call> Error errorOf(const Call& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "nothing thrown";
    return { Error::Kind::Failed, "" };
}

inline void putTitle(WireWriter& out, std::string_view title)
{
    out.list("{sv}", [&] { out.entry(keys::fact::Title, "s", [&] { out.string(title); }); });
}

/// Says of each file that its path is its title; "/never" is not answered, "/no" is no media.
inline void answerByPath(const FakeCall& call)
{
    std::string path = call.arguments().string();
    if (path == "/no")
        call.fail("Mivo.Media1.Error.NotMedia", "\"no\" is of no format that is read.");
    else if (!path.starts_with("/never"))
        call.answer([&](WireWriter& out) { putTitle(out, path); });
}

/// A client of the library on a bus of its own.
class LibraryMedia : public testing::Test {
protected:
    /// Takes what comes until that is so.
    template <class Condition> bool eventually(const Condition& isSo)
    {
        return mv::test::eventually([&] {
            m_client.dispatch();
            return isSo();
        });
    }

    mv::test::PrivateBus m_privateBus;
    MediaClient m_client { ClientOptions().startService(false) };
};

} // namespace mivo
