#pragma once

#include "system/FileReplacement.h"

#include <memory>

namespace mv {

/// A file that a call may change, opened once where the call comes in. Whoever changes it says what it is to hold and
/// looks at the result; how that takes the file's place is the business of whoever opened it. On one thread at a time.
class EditableFile {
public:
    /// Opens what is at the path; what cannot be opened is one, too, and cannot be replaced. What a killed change has
    /// left torn is whole before (FileReplacement::restoreKilledRewrite).
    static std::unique_ptr<EditableFile> at(const Path& path);

    virtual ~EditableFile() = default;
    EditableFile(const EditableFile&) = delete;
    EditableFile& operator=(const EditableFile&) = delete;

    /// As it was when it was opened; by the time of a plan it may be another. The content until replace().
    const OpenedFile& opened() const { return m_opened; }
    /// An error where it may not be written to, by its mode or its mount.
    virtual Result<void> writable() const = 0;
    /// See FileReplacement::perform. Once.
    virtual Result<FileReplacement::Outcome> replace(
        const FileReplacement::Plan& plan, const FileReplacement::Check& check)
        = 0;

protected:
    explicit EditableFile(OpenedFile opened)
        : m_opened(std::move(opened))
    {
    }
    /// Hands the content over; its path and attributes stay.
    OpenedFile release();

private:
    OpenedFile m_opened;
};

} // namespace mv
