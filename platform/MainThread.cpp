#include "platform/MainThread.h"

#include "system/Mutex.h"

#include <utility>

namespace mv {

namespace {

Mutex s_executorLock;
MainThread::Executor s_executor MV_GUARDED_BY(s_executorLock);

MainThread::Executor currentExecutor()
{
    MutexLock lock(s_executorLock);
    return s_executor;
}

} // namespace

void MainThread::perform(const std::function<void()>& work)
{
    if (Executor executor = currentExecutor())
        executor(work);
    else
        work();
}

void MainThread::setExecutor(Executor executor)
{
    MutexLock lock(s_executorLock);
    s_executor = std::move(executor);
}

} // namespace mv
