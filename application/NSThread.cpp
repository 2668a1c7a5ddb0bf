#include "application/NSThread.h"

#include "Base/Core/NSLog.h"

#include <chrono>
#include <exception>
#include <thread>

namespace mv {

void NSThread::sleepForTimeInterval(double seconds)
{
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
}

void NSThread::detachNewThread(std::function<void()> body)
{
    std::thread([body = std::move(body)] {
        try {
            body();
        } catch (const std::exception& exception) {
            NSLog("exception in a detached thread: %s", exception.what());
        }
    }).detach();
}

} // namespace mv
