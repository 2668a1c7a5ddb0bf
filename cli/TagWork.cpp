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
        m_pictureCount = answer->pictures.size();
        describeCover(answer->pictures, [self = shared_from_this()](std::string text, bool isFront) {
            self->m_before.cover = std::move(text);
            self->m_hasFrontCover = isFront;
            self->change();
        });
    }

    using CoverTold = std::function<void(std::string text, bool isFront)>;

    /// The front cover comes first among the pictures; without one players show the first of them.
    void describeCover(const std::vector<MediaPicture>& pictures, CoverTold then)
    {
        if (pictures.empty())
            return then("", false);
        const int file = pictures.front().data.get();
        m_media.begin<MediaDescription>(describeFileRequest(file, ""),
            [self = shared_from_this(), then = std::move(then), bytes = sizeOf(file),
                isFront = pictures.front().type == FrontCoverType](Result<MediaDescription> picture) {
                then(pictureText(picture ? &picture->facts : nullptr, bytes), isFront);
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
        if (!m_order.isDry) {
            now.facts = std::move(after).value();
            missing = missingTags(m_tags, now.facts);
        }
        if (!removesCover(m_tags) || m_pictureCount == 0)
            return finish(now, missing);
        if (!m_hasFrontCover) {
            now.cover = m_before.cover;
            return finish(now, joined("cover (its picture is of another kind, and stays)", missing));
        }
        if (m_order.isDry || m_pictureCount == 1)
            return finish(now, missing);
        // Of several covers the first goes, and what else a file says may go along: the file knows what is left.
        m_media.begin<MediaDescription>(
            describeRequest(m_path, true), [self = shared_from_this(), now, missing](Result<MediaDescription> left) {
                if (!left)
                    return self->fail(left.error());
                self->describeCover(left->pictures, [self, now, missing](std::string text, bool isFront) mutable {
                    now.cover = std::move(text);
                    self->finish(now,
                        isFront ? joined("cover (the file has another one, which is shown now)", missing) : missing);
                });
            });
    }

    static std::string joined(std::string_view first, const std::string& others)
    {
        return std::string(first) + (others.empty() ? "" : ", " + others);
    }

    void finish(const TagState& now, const std::string& missing)
    {
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
    std::size_t m_pictureCount = 0; ///< before
    bool m_hasFrontCover = false;
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
