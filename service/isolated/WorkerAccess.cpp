#include "service/isolated/WorkerAccess.h"

#include "Base/Core/NSException.h"
#include "service/isolated/WorkerHost.h"

namespace mv {

namespace {

WorkerHost& workers()
{
    static WorkerHost host(installedWorkerProgram());
    return host;
}

} // namespace

Result<std::optional<ReadingAnswer>> askWorker(ReadingJob job)
{
    try {
        return workers().read(std::move(job));
    } catch (const WorkersUnavailable& problem) {
        return Error { Error::Kind::State, problem.what() };
    } catch (const std::exception&) {
        return std::optional<ReadingAnswer>();
    }
}

} // namespace mv
