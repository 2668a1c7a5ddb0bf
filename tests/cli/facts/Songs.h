#pragma once

#include "cli/facts/FactField.h"

namespace mv::cli {

/// A song with a bit of everything.
inline DescribedFile aSong()
{
    Facts facts;
    facts.set(fact::Kind, std::string("audio"));
    facts.set(fact::MimeType, std::string("audio/mpeg"));
    facts.set(fact::Url, std::string("file:///music/a.mp3"));
    facts.set(fact::Size, std::uint64_t { 4'200'000 });
    facts.set(fact::Modified, std::int64_t { 1'767'225'600'000'000 }); // 2026-01-01 00:00 UTC
    facts.set(fact::Length, std::int64_t { 185'300'000 });
    facts.set(fact::Title, std::string("Don't"));
    facts.set(fact::Artist, std::vector<std::string> { "AC/DC", "Motörhead" });
    facts.set(fact::TrackNumber, std::int32_t { 4 });
    facts.set(fact::TrackTotal, std::int32_t { 12 });
    facts.set(fact::ContentCreated, std::string("2010-05-04"));
    facts.set(fact::Compilation, false);
    facts.set(fact::HasPicture, true);
    facts.set(fact::AudioCodec, std::string("mp3"));
    facts.set(fact::SampleRate, std::uint32_t { 44100 });
    facts.set(fact::Channels, std::uint32_t { 2 });
    facts.set(fact::Bitrate, std::uint32_t { 192000 });
    return { "a.mp3", facts };
}

/// A photo with what cameras say.
inline DescribedFile aPhoto()
{
    Facts facts;
    facts.set(fact::Kind, std::string("picture"));
    facts.set(fact::Width, std::uint32_t { 4000 });
    facts.set(fact::Orientation, std::uint32_t { 6 });
    facts.set(fact::ContentCreated, std::string("2016-05-31T17:01:35+02:00"));
    facts.set(fact::ExposureTime, 0.004);
    facts.set(fact::FNumber, 2.8);
    facts.set(fact::FocalLength, 50.0);
    facts.set(fact::Iso, std::uint32_t { 400 });
    facts.set(fact::Latitude, -33.856784);
    facts.set(fact::Longitude, 151.215297);
    facts.set(fact::Altitude, 35.5);
    return { "p.jpg", facts };
}

} // namespace mv::cli
