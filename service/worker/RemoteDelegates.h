#pragma once

#include "service/encoder/EncodingRun.h"
#include "service/include/MVMP4ExporterBase.h"
#include "service/worker/HostLink.h"

namespace mv {

/// Whoever hears of an encoding, who is with the host. One that cannot be reached asks to stop.
class RemoteListener final : public EncodingListener {
public:
    explicit RemoteListener(HostLink& host)
        : m_host(host)
    {
    }

    void started() override { tell({ RequestKind::Started }); }
    bool shouldStop() override
    {
        auto reply = m_host.ask({ RequestKind::ShouldStop });
        return !reply || flagOf(reply->values);
    }
    void progress(float percent) override { tell({ RequestKind::Progress, 0, percent }); }
    void failed(std::int32_t code) override { tell({ RequestKind::Failed, code }); }
    void ended() override { tell({ RequestKind::Ended }); }

private:
    // A host that does not hear it is gone, and the job ends at its next question.
    void tell(const Request& request) { static_cast<void>(m_host.ask(request)); }

    HostLink& m_host;
};

/// The delegate of a conversion or an export, which is with the host.
class RemoteDelegate final : public MVMP4ExporterDelegate {
public:
    explicit RemoteDelegate(HostLink& host)
        : m_host(host)
    {
    }

    bool MP4ExporterProgress(std::int32_t percent) override
    {
        auto reply = m_host.ask({ RequestKind::ShouldGoOn, percent });
        return reply && flagOf(reply->values);
    }

private:
    HostLink& m_host;
};

} // namespace mv
