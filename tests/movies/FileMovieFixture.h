#pragma once

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "ffmpeg/MediaLimits.h"
#include "movies/MovieBackend.h"
#include "platform/FileQTKit.h"
#include "tests/movies/Clips.h"

#include <gmock/gmock.h>

namespace mv::test {

class FileMovieTest : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_FFMPEG(); }
    std::unique_ptr<QTMovie> open(const std::string& path)
    {
        EXPECT_TRUE(m_toolkit.canInitWithFile(OpenedFile::at(path)));
        auto movie = m_toolkit.initWithFile(OpenedFile::at(path));
        if (!movie)
            throw std::runtime_error(movie.error().text);
        return std::move(*movie);
    }
    std::unique_ptr<QTMovie> openClip(const std::string& name, const std::string& arguments)
    {
        return open(makeClip(m_folder, name, arguments));
    }
    static double secondsOf(const QTMovie& movie)
    {
        double seconds = -1;
        QTGetTimeInterval(movie.duration(), &seconds);
        return seconds;
    }
    static bool hasVideo(const QTMovie& movie) { return *movie.attribute<bool>(QTMovieHasVideoAttribute); }
    static bool hasAudio(const QTMovie& movie) { return *movie.attribute<bool>(QTMovieHasAudioAttribute); }
    static std::string displayName(const QTMovie& movie)
    {
        return *movie.attribute<std::string>(QTMovieDisplayNameAttribute);
    }
    static NSSize naturalSize(const QTMovie& movie) { return *movie.attribute<NSSize>(QTMovieNaturalSizeAttribute); }
    static std::vector<std::string> formats(const QTMovie& movie)
    {
        std::vector<std::string> result;
        for (const QTTrack& track : movie.tracks())
            result.push_back(fourCharacterText(track.media.type) + " "
                + fourCharacterText(GetMediaSampleDescription(track.media, 1).value_or(0)));
        return result;
    }

    ScratchFolder m_folder;
    FileQTKit m_toolkit { DefaultDeadline };
};

/// Changes the `index`-th box of that type in a file: the bytes from the box's version on.
inline void patchBox(const std::string& path, std::string_view type, int index, std::size_t at, ByteView bytes)
{
    Bytes content = readFile(path);
    std::size_t place = charsOf(content).find(type);
    for (; index > 0; --index)
        place = charsOf(content).find(type, place + 1);
    ASSERT_NE(place, std::string::npos);
    std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(place + 4 + at));
    std::string folder = path.substr(0, path.rfind('/'));
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_TRUE(file);
    std::fwrite(content.data(), 1, content.size(), file);
    std::fclose(file);
}

inline void enableTrack(const std::string& path, int index, bool enabled)
{
    const std::uint8_t flags[] = { 0, 0, static_cast<std::uint8_t>(enabled ? 3 : 2) };
    patchBox(path, "tkhd", index, 1, flags);
}

} // namespace mv::test
