#pragma once

#include "service/include/MVExifExtractorBase.h"
#include "service/include/MVImageInfoBuilder.h"
#include "service/isolated/WorkerHost.h"

namespace mv {

// What stands in the service's process in place of its root objects: each sends a call to a worker and gives the
// answer, and where the file has ended the worker what the protocol promises for a file of which nothing is known.

/// Describes by that operation.
class IsolatedMediaInfoBuilder final : public MVMediaInfoBuilder {
public:
    IsolatedMediaInfoBuilder(WorkerHost& workers, ReadingOperation operation)
        : m_workers(workers)
        , m_operation(operation)
    {
    }
    std::optional<Record> build(const OpenedFile& file) override;

private:
    WorkerHost& m_workers;
    ReadingOperation m_operation;
};

class IsolatedImageInfoBuilder final : public MVImageInfoBuilder {
public:
    explicit IsolatedImageInfoBuilder(WorkerHost& workers)
        : m_workers(workers)
    {
    }
    std::optional<Record> build(const OpenedFile& file) override;
    std::optional<Record> makeThumbnailWithMaxSize(const OpenedFile& file, FloatSize maximum) override;

private:
    WorkerHost& m_workers;
};

class IsolatedExifExtractor final : public MVExifExtractorBase {
public:
    explicit IsolatedExifExtractor(WorkerHost& workers)
        : m_workers(workers)
    {
    }
    std::shared_ptr<MVExifInfo> extractExif(const OpenedFile& file) override;

private:
    WorkerHost& m_workers;
};

} // namespace mv
