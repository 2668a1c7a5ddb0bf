#pragma once

#include "Base/Media/MediaDB.h"
#include "application/NSConnection.h"
#include "service/host/adaptors/AudioEncoderAdaptor.h"
#include "service/host/adaptors/ExifExtractorAdaptor.h"
#include "service/host/adaptors/ImageInfoAdaptor.h"
#include "service/host/adaptors/MP4ExporterAdaptor.h"
#include "service/host/adaptors/MediaInfoAdaptor.h"
#include "service/host/adaptors/MediaTagAdaptor.h"
#include "service/include/ServiceNames.h"

#include <functional>
#include <thread>
#include <vector>

namespace mv::test {

// Root objects that do what a test tells them, served on the test's bus by the real adaptors.

struct FakeInfoBuilder final : MVMediaInfoBuilder {
    std::function<std::optional<Record>(const Path&)> answer;
    std::optional<Record> build(const OpenedFile& file) override { return answer(file.path()); }
};

struct FakeImageBuilder final : MVImageInfoBuilder {
    std::function<std::optional<Record>(const Path&, FloatSize)> thumbnail;
    std::optional<Record> build(const OpenedFile&) override { return Record { { MediaDBPhotoColumnWidth, 640 } }; }
    std::optional<Record> makeThumbnailWithMaxSize(const OpenedFile& file, FloatSize maximum) override
    {
        return thumbnail(file.path(), maximum);
    }
};

struct FakeTag final : MVMediaTagBase {
    std::optional<Record> podcast;
    std::function<bool(const Path&, const Record&)> update;
    std::optional<Record> podcastInfo(const OpenedFile&) override { return podcast; }
    bool updateTagWithDictionary(EditableFile& file, const Record& record) override
    {
        return update(file.opened().path(), record);
    }
};

struct FakeExif final : MVExifExtractorBase {
    std::shared_ptr<MVExifInfo> info;
    std::shared_ptr<MVExifInfo> extractExif(const OpenedFile&) override { return info; }
};

struct FakeExporter final : MVMP4ExporterBase {
    std::vector<std::int32_t> percents;
    std::int32_t code = 0;
    std::int32_t seenBitrate = 0;
    bool sawDelegate = false;

    std::int32_t run(MVMP4ExporterDelegate* delegate)
    {
        sawDelegate = delegate != nullptr;
        for (std::int32_t percent : percents) {
            if (delegate && !delegate->MP4ExporterProgress(percent))
                return -1;
        }
        return code;
    }
    std::int32_t exportWithDelegateFromPathToMp4Path(
        MVMP4ExporterDelegate* delegate, const OpenedFile&, const SharedPlace&) override
    {
        return run(delegate);
    }
    std::int32_t convertToAacWithDelegateFromPathToMp4PathBitrate(
        MVMP4ExporterDelegate* delegate, const OpenedFile&, const SharedPlace&, std::int32_t bitrate) override
    {
        seenBitrate = bitrate;
        return run(delegate);
    }
    bool isAlacAudio(const OpenedFile& file) override { return file.path().pathExtension() == "m4a"; }
};

/// Does of every job what its input's name asks for: "fail-4", or an end.
struct FakeEncoder final : MVAudioEncoderBase {
    Record own { { MVAudioEncoderBitrateAttribute, 192000 } };
    std::shared_ptr<MVAudioEncoderDelegate> delegate;
    std::vector<std::jthread> workers;

    void setAttributes(const Record& attributes) override { own.merge(attributes); }
    Record attributes() const override { return own; }
    void setDelegate(std::shared_ptr<MVAudioEncoderDelegate> one) override { delegate = std::move(one); }
    bool encodeFileOutputFile(const OpenedFile& input, const SharedPlace&) override
    {
        if (delegate)
            work(input.path(), *delegate);
        return !asksForFailure(input.path());
    }
    void encodeOnThreadFileOutputFile(const OpenedFile& file, const SharedPlace&) override
    {
        workers.emplace_back([this, input = file.path(), listener = delegate] { work(input, *listener); });
    }

    static bool asksForFailure(const Path& input) { return input.lastPathComponent().starts_with("fail-"); }

    void work(const Path& input, MVAudioEncoderDelegate& client)
    {
        auto job = client.delegateOfJob(*this);
        MVAudioEncoderDelegate& listener = *job;
        if (asksForFailure(input)) {
            listener.encoderDidFailWithError(
                *this, { std::string(MVAudioEncoderErrorDomain), input.text().back() - '0' });
            return;
        }
        listener.encoderDidStart(*this);
        for (int percent = 25; percent <= 100; percent += 25) {
            if (listener.shouldEncodeStop())
                return;
            listener.encoderProgress(*this, static_cast<float>(percent));
        }
        listener.encoderDidEnd(*this);
    }
};

/// Publishes a fake and gives the test a way to it.
template <class Adaptor, class Fake> class Served {
public:
    explicit Served(std::string_view name)
    {
        auto fake = std::make_unique<Fake>();
        m_fake = fake.get();
        m_connection = NSConnection::serviceConnectionWithName(name, std::make_unique<Adaptor>(std::move(fake)));
        m_connection->runInNewThread();
    }
    Fake* operator->() { return m_fake; }
    void end() { m_connection->invalidate(); }

private:
    Fake* m_fake;
    std::unique_ptr<NSConnection> m_connection;
};

} // namespace mv::test
