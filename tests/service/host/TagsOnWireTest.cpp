#include "service/host/adaptors/TagsOnWire.h"

#include "bus/BusError.h"
#include "bus/BusHandle.h"
#include "tests/support/PrivateBus.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

namespace mv {
namespace {

constexpr std::string_view Png = "\x89PNG\r\n\x1a\nnot much of one";

/// Messages need a bus to belong to.
class TagsOnWire : public testing::Test {
protected:
    TagsOnWire()
        : m_bus(std::move(*openSessionBus()))
    {
    }

    /// A call's tags, of covers alone: a handle each, or bytes where there is none.
    BusMessage covers(const std::vector<int>& handles)
    {
        sd_bus_message* made = nullptr;
        sd_bus_message_new_signal(m_bus.get(), &made, "/", "Mivo.Test", "test");
        BusMessage message(made);
        sd_bus_message_open_container(made, 'a', "{sv}");
        for (int handle : handles) {
            if (handle < 0)
                sd_bus_message_append(made, "{sv}", FrontCoverKey.data(), "ay", 3, 0xFF, 0xD8, 0xFF);
            else
                sd_bus_message_append(made, "{sv}", FrontCoverKey.data(), "h", handle);
        }
        sd_bus_message_close_container(made);
        sd_bus_message_seal(made, 1, 0);
        sd_bus_message_rewind(made, 1);
        return message;
    }
    static void put(const UniqueFd& file, std::string_view content)
    {
        ASSERT_EQ(write(file.get(), content.data(), content.size()), static_cast<ssize_t>(content.size()));
    }

    test::PrivateBus m_daemon;
    BusHandle m_bus;
    UniqueFd m_file { memfd_create("cover", 0) };
};

TEST_F(TagsOnWire, AHandleIsReadWhereTheWorkIsDone)
{
    BusMessage message = covers({ m_file.get() });
    WireReader in(message.get());
    TagOrder order(in);
    EXPECT_TRUE(order.hasHandle());
    put(m_file, Png); // nobody has looked before
    EXPECT_EQ(charsOf(*order.take().frontCover), Png);
    EXPECT_FALSE(order.isRefused());
}

TEST_F(TagsOnWire, AFileOfSomethingElseIsRefused)
{
    put(m_file, "GIF89a");
    BusMessage message = covers({ m_file.get() });
    WireReader in(message.get());
    TagOrder order(in);
    EXPECT_THROW(order.take(), MediaError);
    EXPECT_TRUE(order.isRefused());
}

TEST_F(TagsOnWire, AHandleThatCannotBeReadHasItsOwnError)
{
    UniqueFd blind(open("/proc/self/exe", O_PATH));
    BusMessage message = covers({ blind.get() });
    WireReader in(message.get());
    TagOrder order(in);
    try {
        order.take();
        FAIL() << "a cover that cannot be read";
    } catch (const MediaError& error) {
        EXPECT_EQ(error.kind(), MediaErrorKind::AccessDenied);
    }
    EXPECT_FALSE(order.isRefused());
}

TEST_F(TagsOnWire, OfTwoCoversTheLastCounts)
{
    put(m_file, Png);
    BusMessage handleFirst = covers({ m_file.get(), -1 });
    WireReader in(handleFirst.get());
    TagOrder bytes(in);
    EXPECT_FALSE(bytes.hasHandle());
    EXPECT_EQ(bytes.take().frontCover, (Bytes { 0xFF, 0xD8, 0xFF }));
    BusMessage handleLast = covers({ -1, m_file.get() });
    WireReader again(handleLast.get());
    TagOrder handle(again);
    EXPECT_EQ(charsOf(*handle.take().frontCover), Png);
}

} // namespace
} // namespace mv
