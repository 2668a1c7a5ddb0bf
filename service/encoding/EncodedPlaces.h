#pragma once

#include "mp4/MetadataItems.h"
#include "system/OutputPlace.h"

#include <optional>

namespace mv {

/// A place whose file is made by an encoder, and named when somebody says that it is whole. What an encoder asks for is
/// done with another place; why that could not be done is kept.
class EncodedPlace : public OutputPlace {
public:
    explicit EncodedPlace(SharedPlace place)
        : OutputPlace(place->path())
        , m_place(std::move(place))
    {
    }

    Result<FileAttributes> attributes() const override { return m_place->attributes(); }
    bool canHoldFile() const override { return m_place->canHoldFile(); }
    /// Nothing has the name yet.
    Result<void> clear() override { return {}; }
    UniqueFd openDescriptorInPlace(const OpenedFile&) override { return {}; }
    std::unique_ptr<EditableFile> edit() override { return m_place->edit(); }

    /// Why the last step failed; nothing where none has.
    const std::optional<Error>& failure() const { return m_failure; }

protected:
    Result<std::unique_ptr<OutputFile>> make();
    Result<void> keep(Result<void> done);
    void fail(Error error);

private:
    SharedPlace m_place;
    std::optional<Error> m_failure;
};

/// For an MP3 file, which is written from its start on: its tag first.
class TaggedMp3Place final : public EncodedPlace {
public:
    TaggedMp3Place(SharedPlace place, Bytes tag)
        : EncodedPlace(std::move(place))
        , m_tag(std::move(tag))
    {
    }
    Result<std::unique_ptr<OutputFile>> create() override;
    std::unique_ptr<FileInPlace> openInPlace(const OpenedFile& input) override;
    /// Gives what was written its name.
    Result<void> commit();

private:
    class Sound;

    Bytes m_tag;
    std::unique_ptr<OutputFile> m_output;
};

/// For an MPEG-4 file: its metadata comes into it when everything else is written.
class TaggedM4aPlace final : public EncodedPlace {
public:
    TaggedM4aPlace(SharedPlace place, MP4ItmfItemList items)
        : EncodedPlace(std::move(place))
        , m_items(std::move(items))
    {
    }
    Result<std::unique_ptr<OutputFile>> create() override;

private:
    class Output;

    MP4ItmfItemList m_items;
};

} // namespace mv
