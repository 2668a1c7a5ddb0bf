#pragma once

#include "platform/movie/QTKit.h"

#include <chrono>

namespace mv {

/// The toolkit on real files; QTKit::shared() is one with the default deadline.
class FileQTKit final : public QTKit {
public:
    /// `deadline` bounds the opening of a movie, and then the work on its frames.
    explicit FileQTKit(std::chrono::milliseconds deadline)
        : m_deadline(deadline)
    {
    }

    bool canInitWithFile(const Path& path) override;
    Result<std::unique_ptr<QTMovie>> initWithFile(const Path& path) override;
    void enterQTKitOnThread() override { }
    void exitQTKitOnThread() override { }
    bool findNextComponent(const ComponentDescription& description) override;

private:
    std::chrono::milliseconds m_deadline;
};

} // namespace mv
