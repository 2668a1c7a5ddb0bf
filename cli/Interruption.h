#pragma once

namespace mv::cli {

/// While it lives, the first Ctrl-C (or SIGTERM) is noted instead of ending the process, so that a job can be
/// cancelled through its delegate; the second one ends the process as usual. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool asked() const;
};

} // namespace mv::cli
