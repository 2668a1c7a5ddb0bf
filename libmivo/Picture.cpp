#include "libmivo/PictureContent.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace mivo {

namespace {

int number(std::uint32_t value)
{
    return static_cast<int>(std::min<std::uint32_t>(value, std::numeric_limits<int>::max()));
}

} // namespace

Picture PictureContent::of(PictureContent content)
{
    Picture picture;
    picture.m_content = std::make_unique<PictureContent>(std::move(content));
    return picture;
}

Picture PictureContent::made(mv::MediaPicture picture)
{
    PictureContent content;
    content.file = File(picture.data.release());
    content.mimeType = std::move(picture.mimeType);
    content.description = std::move(picture.description);
    content.type = number(picture.type);
    return of(std::move(content));
}

Picture PictureContent::made(mv::MediaThumbnail thumbnail)
{
    PictureContent content;
    content.file = File(thumbnail.picture.release());
    content.mimeType = std::move(thumbnail.mimeType);
    content.width = number(thumbnail.width);
    content.height = number(thumbnail.height);
    return of(std::move(content));
}

const PictureContent& PictureContent::of(const Picture& picture)
{
    static const PictureContent None;
    return picture.m_content ? *picture.m_content : None;
}

Picture::Picture() = default;
Picture::Picture(Picture&& other) noexcept = default;
Picture& Picture::operator=(Picture&& other) noexcept = default;
Picture::~Picture() = default;

const File& Picture::file() const noexcept { return PictureContent::of(*this).file; }
File Picture::takeFile() noexcept { return m_content ? std::move(m_content->file) : File(); }
Bytes Picture::content() const { return file().content(); }
const std::string& Picture::mimeType() const noexcept { return PictureContent::of(*this).mimeType; }
int Picture::width() const noexcept { return PictureContent::of(*this).width; }
int Picture::height() const noexcept { return PictureContent::of(*this).height; }
int Picture::type() const noexcept { return PictureContent::of(*this).type; }
const std::string& Picture::description() const noexcept { return PictureContent::of(*this).description; }

} // namespace mivo
