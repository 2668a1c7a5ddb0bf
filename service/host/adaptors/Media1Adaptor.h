#pragma once

#include "bus/ServedObject.h"
#include "service/include/ServiceNames.h"
#include "service/media1/MediaService.h"

#include <functional>
#include <memory>

namespace mv {

/// Mivo.Media1. Calls are unpacked and answered on the serving thread; what is in between is done on others.
class Media1Adaptor final : public ServedObject {
public:
    explicit Media1Adaptor(WorkerPool& workers);

    std::span<const ServedInterface> interfaces() const override;
    const char* rootPath() const override { return Media1Path; }

    void Describe(Call& call);
    void DescribeFile(Call& call);
    void DescribeMany(Call& call);
    void Thumbnail(Call& call);
    void ThumbnailFile(Call& call);

private:
    /// Keeps the call open and begins its work. `share` lives as long as the call is open.
    void start(Call& call, const std::function<void(MediaCaller, CallNumber)>& begin, std::shared_ptr<void> share = {});
    /// Of the descriptors that clients' handles may take; raises BusError where they are used up. Nothing for paths.
    std::shared_ptr<void> handleShare(const MediaInput& input);
    void describe(Call& call, MediaInput input);
    void thumbnail(Call& call, MediaInput input);

    const std::size_t m_maxHandles;
    std::size_t m_handles = 0; // of calls that are open
    MediaService m_media;
};

} // namespace mv
