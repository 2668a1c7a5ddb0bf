#include "service/host/adaptors/MP4ExporterAdaptor.h"

#include "tests/service/host/AdaptorTest.h"
#include "tests/support/LeavingClient.h"

namespace mv {
namespace {

/// Reports 1, 2, 3 ... until the delegate says no; answers how often it was asked.
struct FakeExporter final : MVMP4ExporterBase {
    std::int32_t exportWithDelegateFromPathToMp4Path(
        MVMP4ExporterDelegate* delegate, const OpenedFile&, const SharedPlace&) override
    {
        if (!delegate)
            return -50;
        std::int32_t asked = 1;
        while (asked < 100 && delegate->MP4ExporterProgress(asked))
            ++asked;
        return asked;
    }
    std::int32_t convertToAacWithDelegateFromPathToMp4PathBitrate(MVMP4ExporterDelegate* delegate,
        const OpenedFile& source, const SharedPlace& destination, std::int32_t bitrate) override
    {
        std::size_t letters = source.path().text().size() + destination->path().text().size();
        return delegate ? -1 : static_cast<std::int32_t>(letters) + bitrate;
    }
    bool isAlacAudio(const OpenedFile& file) override { return file.path().text() == "/alac"; }
};

struct Delegate {
    int limit = 1000;
    bool fail = false;
    bool hang = false; ///< no answer is sent, ever
    std::vector<int> percents;
};

int progress(sd_bus_message* message, void* userdata, sd_bus_error* error)
{
    auto& delegate = *static_cast<Delegate*>(userdata);
    delegate.percents.push_back(WireReader(message).integer());
    if (delegate.fail)
        return sd_bus_error_set(error, "org.example.No", "no");
    if (delegate.hang)
        return 1;
    return sd_bus_reply_method_return(message, "b", static_cast<int>(delegate.percents.size()) < delegate.limit);
}

constexpr sd_bus_vtable DelegatePath[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("MP4ExporterProgress", "i", "b", progress, 0),
    SD_BUS_VTABLE_END,
};

constexpr const char* Interface = "Mivo.MVMP4ExporterBase";

class MP4ExporterAdaptorTest : public test::AdaptorTest {
protected:
    explicit MP4ExporterAdaptorTest(std::uint64_t delegateTimeout = DelegateTimeoutMicroseconds)
    {
        serve(std::make_unique<MP4ExporterAdaptor>(std::make_unique<FakeExporter>(), delegateTimeout));
        exportDelegate("/delegate", "Mivo.MVMP4ExporterDelegate", DelegatePath, &m_delegate);
    }
    ~MP4ExporterAdaptorTest() override { m_connection.reset(); }

    std::int32_t exportWith(const char* delegate)
    {
        auto answer = m_client.callAndServe(BusName, "/", Interface, "exportWithDelegateFromPathToMp4Path",
            [&](WireWriter& out) { out.objectPath(delegate).string("/s").string("/d"); });
        return answer.ok() ? answer.reader().integer() : -9999;
    }

    Delegate m_delegate;
};

TEST_F(MP4ExporterAdaptorTest, TheDelegateHearsEveryPercentInOrder)
{
    EXPECT_EQ(exportWith("/delegate"), 100);
    ASSERT_EQ(m_delegate.percents.size(), 99u);
    EXPECT_EQ(m_delegate.percents.front(), 1);
    EXPECT_EQ(m_delegate.percents.back(), 99);
}

/// Long enough for a client on a busy machine, short enough for a test.
class ImpatientMP4ExporterAdaptorTest : public MP4ExporterAdaptorTest {
protected:
    ImpatientMP4ExporterAdaptorTest()
        : MP4ExporterAdaptorTest(2'000'000)
    {
    }
};

TEST_F(ImpatientMP4ExporterAdaptorTest, ADelegateThatDoesNotAnswerInTimeCancels)
{
    m_delegate.hang = true;
    EXPECT_EQ(exportWith("/delegate"), 1);
    EXPECT_EQ(m_delegate.percents, std::vector<int> { 1 });
}

TEST_F(MP4ExporterAdaptorTest, ANoCancels)
{
    m_delegate.limit = 5;
    EXPECT_EQ(exportWith("/delegate"), 5);
}

TEST_F(MP4ExporterAdaptorTest, AnErrorOfTheDelegateCancels)
{
    m_delegate.fail = true;
    EXPECT_EQ(exportWith("/delegate"), 1);
}

TEST_F(MP4ExporterAdaptorTest, APathWithoutADelegateCancels) { EXPECT_EQ(exportWith("/nobody"), 1); }

TEST_F(MP4ExporterAdaptorTest, SlashIsNoDelegate) { EXPECT_EQ(exportWith("/"), -50); }

TEST_F(MP4ExporterAdaptorTest, AClientThatLeavesCancelsAndTheServiceGoesOn)
{
    {
        test::LeavingClient leaving("/delegate", "Mivo.MVMP4ExporterDelegate");
        sd_bus_message* made = nullptr;
        ASSERT_GE(sd_bus_message_new_method_call(
                      leaving.bus(), &made, BusName, "/", Interface, "exportWithDelegateFromPathToMp4Path"),
            0);
        BusMessage message(made);
        ASSERT_GE(sd_bus_message_append(made, "oss", "/delegate", "/s", "/d"), 0);
        ASSERT_TRUE(leaving.sendUntilAsked(made)) << "the delegate was never asked";
    }
    EXPECT_EQ(exportWith("/"), -50) << "answered only when the other export is over";
    EXPECT_EQ(m_log.lines().size(), 1u) << "the lost delegate was sent one message";
}

TEST_F(MP4ExporterAdaptorTest, ArgumentsArriveAsGiven)
{
    auto answer = call(Interface, "convertToAacWithDelegateFromPathToMp4PathBitrate",
        [](WireWriter& out) { out.objectPath("/").string("/abc").string("/de").integer(128000); });
    EXPECT_EQ(answer.reader().integer(), 128007);
    EXPECT_TRUE(call(Interface, "isAlacAudio", [](WireWriter& out) { out.string("/alac"); }).reader().boolean());
    EXPECT_FALSE(call(Interface, "isAlacAudio", [](WireWriter& out) { out.string("/other"); }).reader().boolean());
}

} // namespace
} // namespace mv
