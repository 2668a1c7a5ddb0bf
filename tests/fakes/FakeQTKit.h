#pragma once

#include "Base/Core/Text.h"
#include "platform/QTKit.h"

#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace mv::test {

/// A picture of one colour.
class PlainPicture final : public NSImageRep {
public:
    PlainPicture(int width, int height, NSColor colour)
        : m_width(width)
        , m_height(height)
        , m_colour(colour)
    {
    }
    int pixelsWide() const override { return m_width; }
    int pixelsHigh() const override { return m_height; }
    Result<NSColor> colorAtXY(int, int) const override { return m_colour; }
    Result<Bitmap> scaledTo(int width, int height) const override
    {
        Bitmap bitmap { width, height, {} };
        for (int i = 0; i < width * height; ++i)
            bitmap.pixels.insert(bitmap.pixels.end(), { m_colour.red, m_colour.green, m_colour.blue, m_colour.alpha });
        return bitmap;
    }

private:
    int m_width;
    int m_height;
    NSColor m_colour;
};

/// What a fake movie is made of; every field may be changed before it is opened.
struct FakeMovieFacts {
    std::map<std::string_view, QTMovie::Attribute> attributes {
        { QTMovieHasAudioAttribute, true },
        { QTMovieHasVideoAttribute, true },
        { QTMovieDisplayNameAttribute, std::string("Name") },
        { QTMovieCreationTimeAttribute, Date::fromSeconds(1000) },
        { QTMovieModificationTimeAttribute, Date::fromSeconds(2000) },
        { QTMovieNaturalSizeAttribute, NSSize { 640, 480 } },
        { QTMovieRateAttribute, 0.0f },
    };
    QTTime duration { 5000, 1000 };
    std::vector<QTTrack> tracks;
    std::optional<NSImage> frame = NSImage(std::make_shared<PlainPicture>(64, 48, NSColor { 200, 0, 0, 255 }));
    std::optional<NSImage> poster = NSImage(std::make_shared<PlainPicture>(64, 48, NSColor { 0, 200, 0, 255 }));
};

/// A toolkit without files that notes every call.
class FakeQTKit final : public QTKit {
public:
    bool canInit = true;
    std::optional<Error> initError;
    FakeMovieFacts movie;
    /// What findNextComponent knows; everything while it is empty.
    std::set<std::pair<OSType, OSType>> missing;

    std::vector<std::string> calls;
    std::vector<QTTime> frameTimes;

    bool canInitWithFile(const OpenedFile& file) override
    {
        note("canInit " + file.path().text());
        return canInit;
    }
    Result<std::unique_ptr<QTMovie>> initWithFile(const OpenedFile& file) override
    {
        note("init " + file.path().text());
        if (initError)
            return *initError;
        return std::unique_ptr<QTMovie>(std::make_unique<FakeMovie>(*this));
    }
    void enterQTKitOnThread() override { note("enter"); }
    void exitQTKitOnThread() override { note("exit"); }
    bool findNextComponent(const ComponentDescription& description) override
    {
        note("find " + fourCharacterText(description.componentType) + " "
            + fourCharacterText(description.componentSubType));
        return !missing.count({ description.componentType, description.componentSubType });
    }

private:
    class FakeMovie final : public QTMovie {
    public:
        explicit FakeMovie(FakeQTKit& toolkit)
            : m_toolkit(toolkit)
        {
        }
        ~FakeMovie() override { m_toolkit.note("release"); }
        Attribute attributeForKey(std::string_view key) const override
        {
            m_toolkit.note(std::string(key));
            auto found = m_toolkit.movie.attributes.find(key);
            return found == m_toolkit.movie.attributes.end() ? Attribute {} : found->second;
        }
        QTTime duration() const override { return m_toolkit.movie.duration; }
        std::vector<QTTrack> tracks() const override { return m_toolkit.movie.tracks; }
        std::optional<NSImage> frameImageAtTime(QTTime time) override
        {
            m_toolkit.note("frame");
            m_toolkit.frameTimes.push_back(time);
            return m_toolkit.movie.frame;
        }
        std::optional<NSImage> posterImage() override
        {
            m_toolkit.note("poster");
            return m_toolkit.movie.poster;
        }

    private:
        FakeQTKit& m_toolkit;
    };

    void note(std::string what)
    {
        std::lock_guard lock(m_lock);
        calls.push_back(std::move(what));
    }

    std::mutex m_lock;
};

/// A track with its sample descriptions.
inline QTTrack trackOf(OSType type, std::vector<OSType> formats, bool enabled = true)
{
    return { enabled, { type, std::move(formats) } };
}

} // namespace mv::test
