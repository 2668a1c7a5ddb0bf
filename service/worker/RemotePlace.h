#pragma once

#include "service/worker/HostLink.h"
#include "system/EditableFile.h"
#include "system/OutputPlace.h"

namespace mv {

/// The file that a job changes, which is with the host: planned and checked here, replaced there.
class RemoteFile final : public EditableFile {
public:
    RemoteFile(HostLink& host, OpenedFile opened)
        : EditableFile(std::move(opened))
        , m_host(host)
    {
    }

    Result<void> writable() const override;
    Result<FileReplacement::Outcome> replace(
        const FileReplacement::Plan& plan, const FileReplacement::Check& check) override;

private:
    HostLink& m_host;
};

/// The place for what a job makes, which is with the host. What is written has a descriptor here and its name there.
class RemotePlace final : public OutputPlace {
public:
    /// `path` is what messages say.
    RemotePlace(HostLink& host, Path path)
        : OutputPlace(std::move(path))
        , m_host(host)
    {
    }

    Result<FileAttributes> attributes() const override;
    bool canHoldFile() const override;
    Result<void> clear() override;
    Result<std::unique_ptr<OutputFile>> create() override;
    /// `input` is the job's, which the host knows itself.
    UniqueFd openDescriptorInPlace(const OpenedFile& input) override;
    std::unique_ptr<EditableFile> edit() override;

private:
    HostLink& m_host;
};

} // namespace mv
