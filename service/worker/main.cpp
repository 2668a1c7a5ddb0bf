#include "service/worker/WorkerProgram.h"

int main(int count, char** words) { return mv::runWorkerProgram(count, words); }
