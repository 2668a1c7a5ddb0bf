#pragma once

#include "platform/QTKit.h"

#include <chrono>

namespace mv {

/// The toolkit on real files; QTKit::shared() is one with the default deadline.
class FileQTKit final : public QTKit {
public:
    /// `deadline` bounds FFmpeg's work on a movie, opening and frames together.
    explicit FileQTKit(std::chrono::milliseconds deadline)
        : m_deadline(deadline)
    {
    }

    bool canInitWithFile(const OpenedFile& file) override;
    Result<std::unique_ptr<QTMovie>> initWithFile(const OpenedFile& file) override;
    void enterQTKitOnThread() override { }
    void exitQTKitOnThread() override { }
    bool findNextComponent(const ComponentDescription& description) override;

private:
    std::chrono::milliseconds m_deadline;
};

} // namespace mv
