#pragma once

#include "service/encoder/EncodingRun.h"
#include "service/include/MVExifExtractorBase.h"
#include "service/include/MVImageInfoBuilder.h"
#include "service/include/MVMP4ExporterBase.h"
#include "service/include/MVMediaTagBase.h"
#include "service/isolated/WorkerHost.h"
#include "system/Mutex.h"

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

class IsolatedMediaTag final : public MVMediaTagBase {
public:
    explicit IsolatedMediaTag(WorkerHost& workers)
        : m_workers(workers)
    {
    }
    std::optional<Record> podcastInfo(const OpenedFile& file) override;
    /// The worker plans and checks; the file is replaced here. Where the worker is lost the file stays as it was, and
    /// the answer says whether it is there, as it does for every tag that cannot be written.
    bool updateTagWithDictionary(EditableFile& file, const Record& record) override;

private:
    WorkerHost& m_workers;
};

/// One job at a time in the whole process, whoever asks.
class IsolatedMP4Exporter final : public MVMP4ExporterBase {
public:
    explicit IsolatedMP4Exporter(WorkerHost& workers)
        : m_workers(workers)
    {
    }
    std::int32_t exportWithDelegateFromPathToMp4Path(MVMP4ExporterDelegate* delegate, const OpenedFile& source,
        const SharedPlace& destination) override MV_EXCLUDES(s_jobLock);
    std::int32_t convertToAacWithDelegateFromPathToMp4PathBitrate(MVMP4ExporterDelegate* delegate,
        const OpenedFile& source, const SharedPlace& destination, std::int32_t bitrate) override MV_EXCLUDES(s_jobLock);
    bool isAlacAudio(const OpenedFile& file) override MV_EXCLUDES(s_jobLock);

private:
    static inline Mutex s_jobLock;
    WorkerHost& m_workers;
};

/// Encodes to MP3 by a worker of each job's own. Where the worker is lost, or none can be had, the listener hears of a
/// failed encoder.
EncodingRun isolatedEncoding(WorkerHost& workers);

} // namespace mv
