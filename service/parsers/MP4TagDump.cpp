#include "service/parsers/MP4TagDump.h"

#include "Base/Core/Text.h"

#include <tuple>

namespace mv {

namespace {

/// Tells a visitor of the fields that are there.
class Visit {
public:
    explicit Visit(MP4TagVisitor& visitor)
        : m_visitor(visitor)
    {
    }

    void operator()(const char* name, const MP4Tags::Text& text) const
    {
        if (text)
            m_visitor.text(name, *text);
    }
    template <std::unsigned_integral T> void operator()(const char* name, const std::optional<T>& number) const
    {
        if (number)
            m_visitor.number(name, *number);
    }
    void operator()(const char* name, const std::optional<MP4TagTrack>& pair) const
    {
        if (pair)
            m_visitor.pair(name, *pair);
    }
    void operator()(const char*, const std::vector<MP4TagArtwork>& pictures) const
    {
        for (std::size_t i = 0; i < pictures.size(); ++i)
            m_visitor.artwork(i, pictures[i]);
    }

private:
    MP4TagVisitor& m_visitor;
};

template <class T> struct Field {
    const char* name;
    T MP4Tags::*value;
};
// clang 14, which builds the fuzz programs, does not find it by itself.
template <class T> Field(const char*, T MP4Tags::*) -> Field<T>;

/// In the order of the dump.
constexpr std::tuple Fields {
    Field { "name", &MP4Tags::name },
    Field { "artist", &MP4Tags::artist },
    Field { "albumArtist", &MP4Tags::albumArtist },
    Field { "album", &MP4Tags::album },
    Field { "grouping", &MP4Tags::grouping },
    Field { "composer", &MP4Tags::composer },
    Field { "comments", &MP4Tags::comments },
    Field { "genre", &MP4Tags::genre },
    Field { "genreType", &MP4Tags::genreType },
    Field { "releaseDate", &MP4Tags::releaseDate },
    Field { "track", &MP4Tags::track },
    Field { "disk", &MP4Tags::disk },
    Field { "tempo", &MP4Tags::tempo },
    Field { "compilation", &MP4Tags::compilation },
    Field { "tvShow", &MP4Tags::tvShow },
    Field { "tvNetwork", &MP4Tags::tvNetwork },
    Field { "tvEpisodeID", &MP4Tags::tvEpisodeID },
    Field { "tvSeason", &MP4Tags::tvSeason },
    Field { "tvEpisode", &MP4Tags::tvEpisode },
    Field { "description", &MP4Tags::description },
    Field { "longDescription", &MP4Tags::longDescription },
    Field { "lyrics", &MP4Tags::lyrics },
    Field { "sortName", &MP4Tags::sortName },
    Field { "sortArtist", &MP4Tags::sortArtist },
    Field { "sortAlbumArtist", &MP4Tags::sortAlbumArtist },
    Field { "sortAlbum", &MP4Tags::sortAlbum },
    Field { "sortComposer", &MP4Tags::sortComposer },
    Field { "sortTVShow", &MP4Tags::sortTVShow },
    Field { "artwork", &MP4Tags::artwork },
    Field { "copyright", &MP4Tags::copyright },
    Field { "encodingTool", &MP4Tags::encodingTool },
    Field { "encodedBy", &MP4Tags::encodedBy },
    Field { "purchaseDate", &MP4Tags::purchaseDate },
    Field { "podcast", &MP4Tags::podcast },
    Field { "keywords", &MP4Tags::keywords },
    Field { "category", &MP4Tags::category },
    Field { "hdVideo", &MP4Tags::hdVideo },
    Field { "mediaType", &MP4Tags::mediaType },
    Field { "contentRating", &MP4Tags::contentRating },
    Field { "gapless", &MP4Tags::gapless },
    Field { "contentID", &MP4Tags::contentID },
    Field { "artistID", &MP4Tags::artistID },
    Field { "playlistID", &MP4Tags::playlistID },
    Field { "genreID", &MP4Tags::genreID },
    Field { "xid", &MP4Tags::xid },
    Field { "iTunesAccount", &MP4Tags::iTunesAccount },
    Field { "iTunesAccountType", &MP4Tags::iTunesAccountType },
    Field { "iTunesCountry", &MP4Tags::iTunesCountry },
};

/// The forms of the lines are what readers of the dump rely on.
class Dump final : public MP4TagVisitor {
public:
    explicit Dump(std::FILE* out)
        : m_out(out)
    {
    }

    void text(std::string_view name, const std::string& value) override { line(name, value); }
    void number(std::string_view name, std::uint64_t value) override { line(name, std::to_string(value)); }
    void pair(std::string_view name, const MP4TagTrack& value) override
    {
        line(name, formatText("index=%u total=%u", unsigned { value.index }, unsigned { value.total }));
    }
    void artwork(std::size_t index, const MP4TagArtwork& picture) override
    {
        std::fprintf(m_out, "art[%d]: type=%d size=%u data=%p\n", static_cast<int>(index),
            static_cast<int>(picture.type), static_cast<unsigned>(picture.data.size()),
            static_cast<const void*>(picture.data.data()));
    }

private:
    void line(std::string_view name, const std::string& value)
    {
        std::fprintf(m_out, "%.*s: %s\n", static_cast<int>(name.size()), name.data(), value.c_str());
    }

    std::FILE* m_out;
};

} // namespace

void visitTags(const MP4Tags& tags, MP4TagVisitor& visitor)
{
    const Visit visit(visitor);
    std::apply([&](const auto&... field) { (visit(field.name, tags.*field.value), ...); }, Fields);
}

void dumpTags(const MP4Tags& tags, std::FILE* out)
{
    Dump dump(out);
    visitTags(tags, dump);
}

} // namespace mv
