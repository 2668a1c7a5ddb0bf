#include "service/parsers/MP4TagDump.h"

#include "Base/Core/Text.h"

namespace mv {

namespace {

/// Tells a visitor of the fields that are there.
class Visit {
public:
    explicit Visit(MP4TagVisitor& visitor)
        : m_visitor(visitor)
    {
    }

    void field(const char* name, const MP4Tags::Text& text)
    {
        if (text)
            m_visitor.text(name, *text);
    }
    template <std::unsigned_integral T> void field(const char* name, const std::optional<T>& number)
    {
        if (number)
            m_visitor.number(name, *number);
    }
    void field(const char* name, const std::optional<MP4TagTrack>& pair)
    {
        if (pair)
            m_visitor.pair(name, *pair);
    }
    void artwork(const std::vector<MP4TagArtwork>& pictures)
    {
        for (std::size_t i = 0; i < pictures.size(); i++)
            m_visitor.artwork(i, pictures[i]);
    }

private:
    MP4TagVisitor& m_visitor;
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
    Visit visit(visitor);
    visit.field("name", tags.name);
    visit.field("artist", tags.artist);
    visit.field("albumArtist", tags.albumArtist);
    visit.field("album", tags.album);
    visit.field("grouping", tags.grouping);
    visit.field("composer", tags.composer);
    visit.field("comments", tags.comments);
    visit.field("genre", tags.genre);
    visit.field("genreType", tags.genreType);
    visit.field("releaseDate", tags.releaseDate);
    visit.field("track", tags.track);
    visit.field("disk", tags.disk);
    visit.field("tempo", tags.tempo);
    visit.field("compilation", tags.compilation);
    visit.field("tvShow", tags.tvShow);
    visit.field("tvNetwork", tags.tvNetwork);
    visit.field("tvEpisodeID", tags.tvEpisodeID);
    visit.field("tvSeason", tags.tvSeason);
    visit.field("tvEpisode", tags.tvEpisode);
    visit.field("description", tags.description);
    visit.field("longDescription", tags.longDescription);
    visit.field("lyrics", tags.lyrics);
    visit.field("sortName", tags.sortName);
    visit.field("sortArtist", tags.sortArtist);
    visit.field("sortAlbumArtist", tags.sortAlbumArtist);
    visit.field("sortAlbum", tags.sortAlbum);
    visit.field("sortComposer", tags.sortComposer);
    visit.field("sortTVShow", tags.sortTVShow);
    visit.artwork(tags.artwork);
    visit.field("copyright", tags.copyright);
    visit.field("encodingTool", tags.encodingTool);
    visit.field("encodedBy", tags.encodedBy);
    visit.field("purchaseDate", tags.purchaseDate);
    visit.field("podcast", tags.podcast);
    visit.field("keywords", tags.keywords);
    visit.field("category", tags.category);
    visit.field("hdVideo", tags.hdVideo);
    visit.field("mediaType", tags.mediaType);
    visit.field("contentRating", tags.contentRating);
    visit.field("gapless", tags.gapless);
    visit.field("contentID", tags.contentID);
    visit.field("artistID", tags.artistID);
    visit.field("playlistID", tags.playlistID);
    visit.field("genreID", tags.genreID);
    visit.field("xid", tags.xid);
    visit.field("iTunesAccount", tags.iTunesAccount);
    visit.field("iTunesAccountType", tags.iTunesAccountType);
    visit.field("iTunesCountry", tags.iTunesCountry);
}

void dumpTags(const MP4Tags& tags, std::FILE* out)
{
    Dump dump(out);
    visitTags(tags, dump);
}

} // namespace mv
