#include "cli/SoundJobs.h"

#include "cli/CarriedTags.h"
#include "cli/SongTags.h"

#include <unistd.h>
#include <utility>

namespace mv::cli {

class SoundJobs::Work : public std::enable_shared_from_this<Work> {
public:
    Work(SoundJobs& jobs, SoundJob job, Progress progress, Ended ended)
        : m_jobs(jobs)
        , m_job(std::move(job))
        , m_progress(std::move(progress))
        , m_ended(std::move(ended))
    {
        if (m_job.carriesTags)
            m_tags = readSongTags(m_job.source);
        m_job.encoding.tags = m_job.carriesTags && m_tags.empty();
    }

    void begin()
    {
        m_jobs.m_media.beginEncode(m_job.source.text(), m_job.made.text(), m_job.encoding,
            [self = shared_from_this()](Result<std::unique_ptr<MediaJob>> begun) {
                if (!begun)
                    return self->end(begun.error());
                self->m_media = std::move(begun).value();
                self->m_media->onChange([work = self.get()] { work->look(); });
                if (self->m_jobs.m_isCancelled)
                    self->m_media->cancel();
                self->look();
            });
    }

    void cancel()
    {
        if (m_media)
            m_media->cancel();
    }

private:
    void look()
    {
        if (m_hasEnded)
            return;
        if (!m_media->hasEnded())
            return m_progress(m_media->progress());
        if (m_media->state() != MediaJob::State::Done)
            return end(m_media->error().value_or(Error { Error::Kind::Cancelled, "was cancelled" }));
        end(finished());
    }

    /// What has no tags for want of room takes none from what comes after it.
    Result<bool> finished() const
    {
        auto carried = carryTags();
        if (!carried)
            unlink(m_job.made.c_str());
        return carried;
    }

    Result<bool> carryTags() const
    {
        bool isMp3 = m_job.encoding.format == SoundFormat::Mp3;
        MV_TRY_VOID(isMp3 ? writeId3Tags(m_job.made, m_tags) : writeMp4Tags(m_job.made, m_tags));
        return m_tags.isCut;
    }

    void end(Result<bool> result)
    {
        m_hasEnded = true;
        if (!result && m_jobs.m_isCancelled)
            result = Error { Error::Kind::Cancelled, "was cancelled" };
        // This may be the last who holds it.
        auto self = shared_from_this();
        m_jobs.ended(this);
        m_ended(std::move(result));
    }

    SoundJobs& m_jobs;
    SoundJob m_job;
    Progress m_progress;
    Ended m_ended;
    SongTags m_tags;
    std::unique_ptr<MediaJob> m_media;
    bool m_hasEnded = false;
};

void SoundJobs::begin(SoundJob job, Progress progress, Ended ended)
{
    m_past.clear();
    auto work = std::make_shared<Work>(*this, std::move(job), std::move(progress), std::move(ended));
    m_works.emplace(work.get(), work);
    work->begin();
}

void SoundJobs::cancelAll()
{
    if (std::exchange(m_isCancelled, true))
        return;
    for (const auto& [key, work] : m_works)
        work->cancel();
}

void SoundJobs::ended(Work* work)
{
    auto found = m_works.find(work);
    m_past.push_back(std::move(found->second));
    m_works.erase(found);
}

} // namespace mv::cli
