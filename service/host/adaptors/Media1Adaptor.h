#pragma once

#include "bus/ServedObject.h"
#include "service/include/ServiceNames.h"
#include "service/media1/MediaService.h"

#include <functional>

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
    /// Keeps the call open and begins its work.
    void start(Call& call, const std::function<void(MediaCaller, CallNumber)>& begin);
    void describe(Call& call, MediaInput input);
    void thumbnail(Call& call, MediaInput input);

    MediaService m_media;
};

} // namespace mv
