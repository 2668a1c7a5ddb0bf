#include "service/parsers/MP4TagDump.h"

#include <cinttypes>

namespace mv {

namespace {

/// Prints fields in the order of the calls; the order and the forms of the lines are what readers of the dump rely on.
class Dump {
public:
    explicit Dump(std::FILE* out)
        : m_out(out)
    {
    }

    void line(const char* name, const MP4Tags::Text& text)
    {
        if (text)
            std::fprintf(m_out, "%s: %s\n", name, text->c_str());
    }
    template <std::unsigned_integral T> void line(const char* name, const std::optional<T>& number)
    {
        if (number)
            std::fprintf(m_out, "%s: %" PRIu64 "\n", name, std::uint64_t { *number });
    }
    void line(const char* name, const std::optional<MP4TagTrack>& pair)
    {
        if (pair)
            std::fprintf(m_out, "%s: index=%u total=%u\n", name, unsigned { pair->index }, unsigned { pair->total });
    }
    void artwork(const std::vector<MP4TagArtwork>& pictures)
    {
        for (std::size_t i = 0; i < pictures.size(); i++) {
            const MP4TagArtwork& picture = pictures[i];
            std::fprintf(m_out, "art[%d]: type=%d size=%u data=%p\n", static_cast<int>(i),
                static_cast<int>(picture.type), static_cast<unsigned>(picture.data.size()),
                static_cast<const void*>(picture.data.data()));
        }
    }

private:
    std::FILE* m_out;
};

} // namespace

void dumpTags(const MP4Tags& tags, std::FILE* out)
{
    Dump dump(out);
    dump.line("name", tags.name);
    dump.line("artist", tags.artist);
    dump.line("albumArtist", tags.albumArtist);
    dump.line("album", tags.album);
    dump.line("grouping", tags.grouping);
    dump.line("composer", tags.composer);
    dump.line("comments", tags.comments);
    dump.line("genre", tags.genre);
    dump.line("genreType", tags.genreType);
    dump.line("releaseDate", tags.releaseDate);
    dump.line("track", tags.track);
    dump.line("disk", tags.disk);
    dump.line("tempo", tags.tempo);
    dump.line("compilation", tags.compilation);
    dump.line("tvShow", tags.tvShow);
    dump.line("tvNetwork", tags.tvNetwork);
    dump.line("tvEpisodeID", tags.tvEpisodeID);
    dump.line("tvSeason", tags.tvSeason);
    dump.line("tvEpisode", tags.tvEpisode);
    dump.line("description", tags.description);
    dump.line("longDescription", tags.longDescription);
    dump.line("lyrics", tags.lyrics);
    dump.line("sortName", tags.sortName);
    dump.line("sortArtist", tags.sortArtist);
    dump.line("sortAlbumArtist", tags.sortAlbumArtist);
    dump.line("sortAlbum", tags.sortAlbum);
    dump.line("sortComposer", tags.sortComposer);
    dump.line("sortTVShow", tags.sortTVShow);
    dump.artwork(tags.artwork);
    dump.line("copyright", tags.copyright);
    dump.line("encodingTool", tags.encodingTool);
    dump.line("encodedBy", tags.encodedBy);
    dump.line("purchaseDate", tags.purchaseDate);
    dump.line("podcast", tags.podcast);
    dump.line("keywords", tags.keywords);
    dump.line("category", tags.category);
    dump.line("hdVideo", tags.hdVideo);
    dump.line("mediaType", tags.mediaType);
    dump.line("contentRating", tags.contentRating);
    dump.line("gapless", tags.gapless);
    dump.line("contentID", tags.contentID);
    dump.line("artistID", tags.artistID);
    dump.line("playlistID", tags.playlistID);
    dump.line("genreID", tags.genreID);
    dump.line("xid", tags.xid);
    dump.line("iTunesAccount", tags.iTunesAccount);
    dump.line("iTunesAccountType", tags.iTunesAccountType);
    dump.line("iTunesCountry", tags.iTunesCountry);
}

} // namespace mv
