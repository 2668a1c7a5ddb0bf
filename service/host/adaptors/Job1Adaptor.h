#pragma once

#include "bus/ServedObject.h"
#include "service/include/ServiceNames.h"
#include "service/media1/EncodingJob.h"

#include <memory>
#include <vector>

namespace mv {

/// Mivo.Job1: one encoding, served for the client that has asked for it. When it goes the job is cancelled.
class Job1Adaptor final : public ServedObject {
public:
    /// `share` lives as long as this.
    Job1Adaptor(std::shared_ptr<EncodingJob> job, std::shared_ptr<void> share)
        : m_share(std::move(share))
        , m_job(std::move(job))
    {
    }
    ~Job1Adaptor() override;

    std::span<const ServedInterface> interfaces() const override;
    const char* clientFolder() const override { return Media1JobsPath; }

    /// Served there now; from here on changes are told.
    void publish(std::string path);

    /// Answered when the job has ended.
    void Cancel(Call& call);
    void Release(Call& call);

    const EncodingJob& job() const { return *m_job; }

private:
    void tellChange();
    void answerCancels();

    const std::shared_ptr<void> m_share;
    const std::shared_ptr<EncodingJob> m_job;
    std::string m_path;
    bool m_hasToldEnd = false;
    std::vector<CallNumber> m_cancels; // that wait for the end
    // What is posted meanwhile finds out by it whether this is still there.
    std::shared_ptr<Job1Adaptor*> m_self = std::make_shared<Job1Adaptor*>(this);
};

} // namespace mv
