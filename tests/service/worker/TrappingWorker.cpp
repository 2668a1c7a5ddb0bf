#include "service/worker/WorkerProgram.h"

// The worker, but a system call that its filter does not know ends it, so that tests find such calls.

int main(int count, char** words)
{
    return mv::runWorkerProgram(count, words, mv::serveJobs, mv::UnknownCall::Trapped);
}
