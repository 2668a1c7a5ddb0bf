#include "tests/integration/RunningService.h"

namespace mv {
namespace {

using BusFailure = test::RunningService;

TEST_F(BusFailure, TheProcessLeavesInOrderWhenItsBusDies)
{
    m_bus.kill();
    EXPECT_EQ(m_service.waitForEnd(), 0);
}

} // namespace
} // namespace mv
