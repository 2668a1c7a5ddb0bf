#pragma once

#include "bus/ServedObject.h"
#include "service/include/ServiceNames.h"
#include "service/media1/MediaService.h"

#include <functional>
#include <map>
#include <memory>

namespace mv {

/// Mivo.Media1. Calls are unpacked and answered on the serving thread; what is in between is done on others.
class Media1Adaptor final : public ServedObject {
public:
    /// A job has such a hold from its beginning to its end, as far as there is one to be had.
    using JobHold = std::function<std::shared_ptr<void>()>;

    explicit Media1Adaptor(WorkerHost& workers, JobHold jobHold = {});

    std::span<const ServedInterface> interfaces() const override;
    const char* rootPath() const override { return Media1Path; }

    void Describe(Call& call);
    void DescribeFile(Call& call);
    void DescribeMany(Call& call);
    void Thumbnail(Call& call);
    void ThumbnailFile(Call& call);
    void SetTags(Call& call);
    void Encode(Call& call);

private:
    /// Keeps the call open and begins its work. `share` lives as long as the call is open.
    void start(Call& call, const std::function<void(MediaCaller, CallNumber)>& begin, std::shared_ptr<void> share = {});
    /// Of the descriptors that clients' handles may take; raises BusError where they are used up. Nothing without one.
    std::shared_ptr<void> handleShare(bool hasHandle);
    void describe(Call& call, MediaInput input);
    void thumbnail(Call& call, MediaInput input);
    /// Of the jobs that a client may have, which live until it releases them; raises BusError where it has them all.
    std::shared_ptr<void> jobShare(const std::string& client);
    /// Serves the job and begins it; its path.
    std::string serveJob(const MediaService::SharedJob& job, const std::string& client);

    const JobHold m_jobHold;
    const std::size_t m_maxHandles;
    std::size_t m_handles = 0; // of calls that are open
    std::map<std::string, std::size_t> m_jobs; // by client
    MediaService m_media;
};

} // namespace mv
