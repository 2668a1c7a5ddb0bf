#pragma once

#include "client/MediaJob.h"

#include <functional>
#include <memory>
#include <mivo/Job.h>
#include <optional>

namespace mivo {

class MediaContent;

class JobContent : public std::enable_shared_from_this<JobContent> {
public:
    static Job made(std::weak_ptr<MediaContent> client, std::unique_ptr<mv::MediaJob> job);

    Job::State state() const;
    double progress() const { return m_job->progress(); }
    const Error* error();
    void cancel() { m_job->cancel(); }
    /// Null when the client has ended.
    std::shared_ptr<MediaContent> client() const;

    std::function<void()> changed;

private:
    void noteChange();

    std::weak_ptr<MediaContent> m_client;
    std::unique_ptr<mv::MediaJob> m_job;
    std::optional<Error> m_error;
    bool m_isToBeTold = false;
};

} // namespace mivo
