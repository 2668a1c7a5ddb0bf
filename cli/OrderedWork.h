#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace mv::cli {

/// Runs `work(item)` for items 0 to count - 1 on `workers` threads and hands the results to `emit(item, result)` in
/// the order of the items, one at a time, each as soon as it and all before it are there. Works at most a few
/// hundred items ahead of the one that is waited for, so that long lists take little memory. `makeWorker` is called
/// once on every thread and gives that thread's work.
struct WorkResult {
    std::string output; ///< for standard output
    std::string complaint; ///< for standard error; empty when there is nothing to complain of
};
using Work = std::function<WorkResult(std::size_t item)>;
void runInOrder(std::size_t count, std::size_t workers, const std::function<Work()>& makeWorker,
    const std::function<void(std::size_t item, const WorkResult&)>& emit);

} // namespace mv::cli
