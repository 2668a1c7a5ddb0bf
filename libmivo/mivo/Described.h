#pragma once

#include <mivo/Error.h>
#include <mivo/Picture.h>
#include <mivo/Record.h>

#include <memory>
#include <vector>

namespace mivo {

class DescriptionContent;

/// What is known of a file, with the pictures that it carries. To be moved, not copied.
class MIVO_API Description {
public:
    Description();
    Description(Description&& other) noexcept;
    Description& operator=(Description&& other) noexcept;
    ~Description();

    /// Keys of mivo::keys::fact.
    const Record& facts() const noexcept;
    /// At most 16, the front cover first.
    const std::vector<Picture>& pictures() const noexcept;
    /// Gives them to the caller.
    std::vector<Picture> takePictures() noexcept;

private:
    friend class DescriptionContent;

    std::unique_ptr<DescriptionContent> m_content; // null is empty
};

class DescribedContent;

/// One file of many: its facts, or why there are none. A copy is cheap.
class MIVO_API Described {
public:
    Described(const Described& other) noexcept;
    Described(Described&& other) noexcept;
    Described& operator=(const Described& other) noexcept;
    Described& operator=(Described&& other) noexcept;
    ~Described();

    explicit operator bool() const noexcept { return error() == nullptr; }
    /// Keys of mivo::keys::fact; throws the error where there is one.
    const Record& facts() const;
    /// Null where there is none; valid as long as this object.
    const Error* error() const noexcept;

private:
    friend class DescribedContent;
    MIVO_INTERNAL explicit Described(std::shared_ptr<const DescribedContent> content) noexcept;

    std::shared_ptr<const DescribedContent> m_content;
};

} // namespace mivo
