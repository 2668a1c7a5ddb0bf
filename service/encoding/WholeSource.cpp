#include "service/encoding/WholeSource.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fcntl.h>

namespace mv {

class WholeSource::Watched final : public ByteSource {
public:
    explicit Watched(SharedSource source)
        : m_source(std::move(source))
    {
    }

    std::uint64_t size() const override { return m_source->size(); }
    Result<std::size_t> readAt(std::uint64_t offset, std::span<std::uint8_t> target) const override
    {
        auto got = m_source->readAt(offset, target);
        // A place that no file can have is a mistake of the file's own words, and not of the disk.
        bool hasFailed = got ? *got < wanted(offset, target.size()) : got.error().code != EINVAL;
        if (hasFailed)
            m_hasFailed = true;
        return got;
    }
    bool hasFailed() const { return m_hasFailed; }

private:
    /// Of a file that has not become shorter since it was opened.
    std::size_t wanted(std::uint64_t offset, std::size_t count) const
    {
        return static_cast<std::size_t>(std::min<std::uint64_t>(count, size() - std::min(offset, size())));
    }

    const SharedSource m_source;
    mutable std::atomic<bool> m_hasFailed = false; // decoders have threads
};

class WholeSource::Output final : public OutputFile {
public:
    Output(std::unique_ptr<OutputFile> file, std::shared_ptr<const Watched> source)
        : OutputFile(UniqueFd(fcntl(file->fd(), F_DUPFD_CLOEXEC, 0)))
        , m_file(std::move(file))
        , m_source(std::move(source))
    {
    }
    Result<void> commit() override
    {
        if (m_source->hasFailed())
            return Error { Error::Kind::Io, "the source cannot be read whole", EIO };
        return m_file->commit();
    }
    std::uint32_t metadataRoom() const override { return m_file->metadataRoom(); }

private:
    std::unique_ptr<OutputFile> m_file;
    std::shared_ptr<const Watched> m_source;
};

class WholeSource::Place final : public OutputPlace {
public:
    Place(SharedPlace place, std::shared_ptr<const Watched> source)
        : OutputPlace(place->path())
        , m_place(std::move(place))
        , m_source(std::move(source))
    {
    }
    Result<FileAttributes> attributes() const override { return m_place->attributes(); }
    bool canHoldFile() const override { return m_place->canHoldFile(); }
    Result<void> clear() override { return m_place->clear(); }
    Result<std::unique_ptr<OutputFile>> create() override
    {
        MV_TRY(file, m_place->create());
        return std::unique_ptr<OutputFile>(std::make_unique<Output>(std::move(file), m_source));
    }
    UniqueFd openDescriptorInPlace(const OpenedFile& input) override { return m_place->openDescriptorInPlace(input); }
    std::unique_ptr<EditableFile> edit() override { return m_place->edit(); }

private:
    const SharedPlace m_place;
    const std::shared_ptr<const Watched> m_source;
};

WholeSource::WholeSource(const OpenedFile& file)
    : m_watched(file.content() ? std::make_shared<const Watched>(*file.content()) : nullptr)
    , m_file(m_watched ? OpenedFile(file.path(), file.attributes(), SharedSource(m_watched)) : file)
{
}

SharedPlace WholeSource::placeFor(SharedPlace place) const
{
    return m_watched ? std::make_shared<Place>(std::move(place), m_watched) : place;
}

} // namespace mv
