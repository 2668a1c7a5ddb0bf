#include "service/worker/RemotePlace.h"

#include "service/job/FileCode.h"

namespace mv {

namespace {

Result<void> askToDo(HostLink& host, RequestKind kind)
{
    MV_TRY(reply, host.ask({ kind }));
    return doneOf(reply.values);
}

class RemoteOutput final : public OutputFile {
public:
    RemoteOutput(HostLink& host, UniqueFd content)
        : OutputFile(std::move(content))
        , m_host(host)
    {
    }
    Result<void> commit() override { return askToDo(m_host, RequestKind::CommitOutput); }

private:
    HostLink& m_host;
};

} // namespace

Result<void> RemoteFile::writable() const { return askToDo(m_host, RequestKind::IsWritable); }

Result<FileReplacement::Outcome> RemoteFile::replace(
    const FileReplacement::Plan& plan, const FileReplacement::Check& check)
{
    release();
    MV_TRY(reply, m_host.replace(plan, check));
    return outcomeOf(reply.values);
}

Result<FileAttributes> RemotePlace::attributes() const
{
    MV_TRY(reply, m_host.ask({ RequestKind::OutputAttributes }));
    return attributesOf(reply.values);
}

bool RemotePlace::canHoldFile() const
{
    auto reply = m_host.ask({ RequestKind::CanHoldOutput });
    return reply && flagOf(reply->values);
}

Result<void> RemotePlace::clear() { return askToDo(m_host, RequestKind::ClearOutput); }

Result<std::unique_ptr<OutputFile>> RemotePlace::create()
{
    MV_TRY(reply, m_host.ask({ RequestKind::CreateOutput }));
    MV_TRY_VOID(doneOf(reply.values));
    return std::unique_ptr<OutputFile>(std::make_unique<RemoteOutput>(m_host, std::move(reply.descriptor)));
}

UniqueFd RemotePlace::openDescriptorInPlace(const OpenedFile&)
{
    auto reply = m_host.ask({ RequestKind::OpenOutputInPlace });
    return reply ? std::move(reply->descriptor) : UniqueFd();
}

std::unique_ptr<EditableFile> RemotePlace::edit()
{
    auto reply = m_host.ask({ RequestKind::EditOutput });
    OpenedFile file = reply ? fileOf(reply->values, std::move(reply->descriptor)) : OpenedFile(path());
    return std::make_unique<RemoteFile>(m_host, std::move(file));
}

} // namespace mv
