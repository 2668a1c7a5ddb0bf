#include "libmivo/DescribedContent.h"

#include "libmivo/Conversion.h"
#include "libmivo/PictureContent.h"

#include <utility>

namespace mivo {

Description DescriptionContent::made(mv::MediaDescription description)
{
    Description made;
    made.m_content = std::make_unique<DescriptionContent>();
    made.m_content->facts = recordFrom(description.facts);
    for (mv::MediaPicture& picture : description.pictures)
        made.m_content->pictures.push_back(PictureContent::made(std::move(picture)));
    return made;
}

Description::Description() = default;
Description::Description(Description&& other) noexcept = default;
Description& Description::operator=(Description&& other) noexcept = default;
Description::~Description() = default;

const Record& Description::facts() const noexcept
{
    static const Record None;
    return m_content ? m_content->facts : None;
}

const std::vector<Picture>& Description::pictures() const noexcept
{
    static const std::vector<Picture> None;
    return m_content ? m_content->pictures : None;
}

std::vector<Picture> Description::takePictures() noexcept
{
    return m_content ? std::exchange(m_content->pictures, {}) : std::vector<Picture>();
}

Described DescribedContent::made(const mv::Result<mv::Facts>& facts)
{
    if (!facts)
        return made(errorFrom(facts.error()));
    auto content = std::make_shared<DescribedContent>();
    content->facts = recordFrom(*facts);
    return Described(std::move(content));
}

Described DescribedContent::made(Error error)
{
    auto content = std::make_shared<DescribedContent>();
    content->error = std::move(error);
    return Described(std::move(content));
}

Described::Described(std::shared_ptr<const DescribedContent> content) noexcept
    : m_content(std::move(content))
{
}

// A copy: one that was moved from can still be asked.
Described::Described(const Described& other) noexcept = default;
Described::Described(Described&& other) noexcept
    : m_content(other.m_content)
{
}
Described& Described::operator=(const Described& other) noexcept = default;
Described& Described::operator=(Described&& other) noexcept
{
    m_content = other.m_content;
    return *this;
}
Described::~Described() = default;

const Record& Described::facts() const
{
    if (const Error* why = error())
        throw Error(*why);
    return m_content->facts;
}

const Error* Described::error() const noexcept { return m_content->error ? &*m_content->error : nullptr; }

} // namespace mivo
