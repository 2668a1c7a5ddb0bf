#pragma once

#include <chrono>
#include <functional>

namespace mv {

/// What may take long before anything of it can be seen says with this that it goes on: for each packet, as it costs no
/// more than a look at the clock. Safe on several threads.
void showThatWorkGoesOn();

/// Who hears of it, at most once in each period; nobody at first, and after an empty function.
using WorkSignSink = std::function<void()>;
void setWorkSignSink(WorkSignSink sink, std::chrono::nanoseconds period = std::chrono::seconds { 5 });

} // namespace mv
