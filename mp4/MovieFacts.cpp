#include "mp4/MovieFacts.h"

#include "mp4/FragmentScan.h"
#include "mp4/MovieTitle.h"
#include "mp4/TrackReader.h"
#include "system/InputFile.h"

#include <cmath>

namespace mv {

namespace {

Result<void> readMovieHeader(StructureReader& reader, MovieFacts& facts)
{
    auto box = findChild(reader, facts.movieBox, fourCC("mvhd"));
    if (!box)
        return Error { Error::Kind::Format, "no movie header" };
    ByteReader fields(payloadStart(reader, *box, 112));
    std::uint8_t version = fields.u8();
    fields.skip(3);
    auto wide = [&] { return version == 1 ? fields.u64be() : fields.u32be(); };
    facts.creationDate = dateFromMovieTime(wide());
    facts.modificationDate = dateFromMovieTime(wide());
    facts.timeScale = fields.u32be();
    facts.duration = wide();
    if (fields.failed())
        return Error { Error::Kind::Format, "movie header too short" };
    if (facts.duration == (version == 1 ? UINT64_MAX : UINT32_MAX))
        facts.duration = 0; // all ones say "unknown"
    fields.skip(4 + 12 + 36 + 8); // rate, volume and reserved, matrix, preview
    facts.posterTime = fields.u32be();
    return {};
}

/// The side of the box around a rectangle of width x height behind the matrix, from two of its factors.
double turnedSide(double width, double height, std::int32_t widthFactor, std::int32_t heightFactor)
{
    return std::abs(width * widthFactor / 65536.0) + std::abs(height * heightFactor / 65536.0);
}

bool isZero(const std::array<std::int32_t, 9>& matrix)
{
    return matrix[0] == 0 && matrix[1] == 0 && matrix[3] == 0 && matrix[4] == 0;
}

} // namespace

double TrackFacts::displayWidth() const
{
    return isZero(matrix) ? width : turnedSide(width, height, matrix[0], matrix[3]);
}

double TrackFacts::displayHeight() const
{
    return isZero(matrix) ? height : turnedSide(width, height, matrix[1], matrix[4]);
}

std::optional<Date> dateFromMovieTime(std::uint64_t seconds)
{
    constexpr std::uint64_t From1904To1970 = 2'082'844'800;
    constexpr std::uint64_t LatestSecond = 1ull << 40; // keeps microseconds inside 64 bits
    if (seconds == 0 || seconds > LatestSecond)
        return std::nullopt;
    return Date::fromSeconds(static_cast<std::int64_t>(seconds) - static_cast<std::int64_t>(From1904To1970));
}

Result<MovieFacts> readMovieFacts(StructureReader& reader)
{
    MovieFacts facts;
    auto movie = findMovieBox(reader, firstBoxOffset(reader));
    if (!movie)
        return Error { Error::Kind::Format, "no movie box" };
    facts.movieBox = *movie;
    MV_TRY_VOID(readMovieHeader(reader, facts));
    BoxWalker children(reader, facts.movieBox);
    while (auto box = children.next()) {
        if (box->type == fourCC("trak") && facts.tracks.size() < MovieFacts::MaxTracks)
            facts.tracks.push_back(readTrack(reader, *box));
        else if (box->overruns)
            break;
        else if (box->type == fourCC("udta") && facts.userDataBoxes.size() < MovieFacts::MaxUserDataBoxes)
            facts.userDataBoxes.push_back(*box);
        else if (box->type == fourCC("meta") && !facts.metaBox)
            facts.metaBox = box;
        else if (box->type == fourCC("mvex") && !facts.extendsBox)
            facts.extendsBox = box;
    }
    facts.title = movieTitle(reader, facts);
    addFragments(reader, facts);
    return facts;
}

} // namespace mv
