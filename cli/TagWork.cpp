#include "cli/TagWork.h"

#include "Base/Core/Text.h"
#include "cli/FileTexts.h"
#include "cli/InputPath.h"
#include "cli/Terminal.h"
#include "cli/text/ReadableText.h"
#include "system/SealedFile.h"

#include <algorithm>
#include <sys/stat.h>

namespace mv::cli {

namespace {

std::string pictureText(const Facts* facts, std::int64_t bytes)
{
    std::string text = "picture";
    const auto* width = facts ? facts->get<std::uint32_t>(fact::Width) : nullptr;
    const auto* height = facts ? facts->get<std::uint32_t>(fact::Height) : nullptr;
    if (width && height)
        text += formatText(", %u x %u", *width, *height);
    return text + ", " + readableSize(bytes);
}

std::int64_t sizeOf(int file)
{
    struct stat facts { };
    return fstat(file, &facts) == 0 ? facts.st_size : 0;
}

/// The front cover, which comes first among a file's pictures; without one the first picture, which players show.
const MediaPicture* coverAmong(const std::vector<MediaPicture>& pictures)
{
    return pictures.empty() ? nullptr : &pictures.front();
}

/// Whether the tags take the cover away.
bool removesCover(const MediaTags& tags)
{
    return std::any_of(tags.begin(), tags.end(), [](const auto& tag) {
        return tag.first == FrontCoverTag && std::holds_alternative<std::monostate>(tag.second);
    });
}

/// One file on its way. Lives as long as a call of it is under way.
class TagWork : public std::enable_shared_from_this<TagWork> {
public:
    TagWork(Media1Client& media, TagOrder order, CallsInOrder::Finish finish)
        : m_media(media)
        , m_order(std::move(order))
        , m_finish(std::move(finish))
    {
    }

    void begin()
    {
        auto path = inputPath(m_order.file);
        if (!path)
            return fail(path.error());
        m_path = path->text();
        m_media.begin<MediaDescription>(describeRequest(m_path, true),
            [self = shared_from_this()](Result<MediaDescription> answer) { self->described(std::move(answer)); });
    }

private:
    void fail(const Error& error) { m_finish(failedFile(m_order.file, error, false)); }

    void described(Result<MediaDescription> answer)
    {
        if (!answer)
            return fail(answer.error());
        m_before.facts = std::move(answer->facts);
        const MediaPicture* cover = coverAmong(answer->pictures);
        if (!cover)
            return change();
        m_hasOtherPicture = cover->type != FrontCoverType;
        m_media.begin<MediaDescription>(describeFileRequest(cover->data.get(), ""),
            [self = shared_from_this(), bytes = sizeOf(cover->data.get())](Result<MediaDescription> picture) {
                self->m_before.cover = pictureText(picture ? &picture->facts : nullptr, bytes);
                self->change();
            });
    }

    void change()
    {
        m_tags = m_order.tags(m_before.facts);
        if (m_order.onlyDifferent)
            m_tags = differingTags(std::move(m_tags), m_before);
        if (m_tags.empty())
            return m_finish({ m_order.onlyDifferent ? "" : textOf(m_before), "" });
        // Without a tag the service says whether it could write any.
        m_media.begin<Facts>(setTagsRequest(m_path, m_order.isDry ? MediaTags() : m_tags),
            [self = shared_from_this()](Result<Facts> after) { self->changed(std::move(after)); });
    }

    void changed(Result<Facts> after)
    {
        if (!after)
            return fail(after.error());
        TagState now = stateWith(m_before, m_tags, m_order.cover);
        std::string missing;
        if (m_hasOtherPicture && removesCover(m_tags)) {
            now.cover = m_before.cover;
            missing = "cover (its picture is of another kind, and stays)";
        }
        if (!m_order.isDry) {
            now.facts = std::move(after).value();
            std::string others = missingTags(m_tags, now.facts);
            missing += (missing.empty() || others.empty() ? "" : ", ") + others;
        }
        if (missing.empty())
            return m_finish({ textOf(now), "" });
        m_finish({ textOf(now), m_order.file + ": the file does not show the wish for: " + missing,
            ExitStatus::SomeFailed });
    }

    std::string textOf(const TagState& after) const
    {
        return terminalText(m_order.file) + "\n" + tagRows(m_before, after);
    }

    Media1Client& m_media;
    TagOrder m_order;
    CallsInOrder::Finish m_finish;
    std::string m_path;
    TagState m_before;
    bool m_hasOtherPicture = false; ///< and no front cover
    MediaTags m_tags;
};

} // namespace

void changeTags(Media1Client& media, TagOrder order, CallsInOrder::Finish finish)
{
    std::make_shared<TagWork>(media, std::move(order), std::move(finish))->begin();
}

std::string coverText(Media1Client& media, const Bytes& picture)
{
    auto file = sealedFile(picture);
    auto described = file ? media.call(describeFileRequest(file->get(), "")) : Result<MediaDescription>(file.error());
    return pictureText(described ? &described->facts : nullptr, static_cast<std::int64_t>(picture.size()));
}

} // namespace mv::cli
