#pragma once

#include "Base/Core/Bytes.h"
#include "movies/MovieBackend.h"
#include "platform/QTMovie.h"
#include "system/FSRef.h"

#include <memory>
#include <vector>

namespace mv {

// The movie toolbox: opening movies for export, the export to MPEG-4, and what the calls around them need, under the
// names that they are known by. Handles are owned: destroying one is DisposeMovie, CloseComponent or DisposeHandle.

/// 16.16 fixed point.
using Fixed = std::int32_t;
constexpr Fixed Long2Fix(std::int32_t value) { return value * 65536; }
/// To the nearest, halves upwards.
constexpr std::int32_t Fix2Long(Fixed value)
{
    return static_cast<std::int32_t>((std::int64_t { value } + 0x8000) >> 16);
}
constexpr Fixed FixMul(Fixed a, Fixed b) { return static_cast<Fixed>((std::int64_t { a } * b + 0x8000) >> 16); }

/// Where media lies: always a whole file.
struct DataReference {
    FSRef ref;
};

/// What a progress procedure is told.
enum MovieProgressMessage : std::int16_t {
    movieProgressOpen = 0,
    movieProgressUpdatePercent = 1,
    movieProgressClose = 2,
};
inline constexpr std::int16_t progressOpExportMovie = 12;

class Movie;
/// Called on the exporting thread. Anything but noErr cancels. `percentDone` is 0 to 1.
using MovieProgressProc
    = OSStatus (*)(Movie& movie, std::int16_t message, std::int16_t operation, Fixed percentDone, void* context);

/// A movie that was opened for export.
class Movie {
public:
    Movie(DataReference source, std::vector<QTTrack> tracks)
        : m_source(std::move(source))
        , m_tracks(std::move(tracks))
    {
    }

    const DataReference& source() const { return m_source; }
    const std::vector<QTTrack>& tracks() const { return m_tracks; }

    void setProgress(MovieProgressProc progress, void* context)
    {
        m_progress = progress;
        m_context = context;
    }
    /// noErr where there is no procedure.
    OSStatus report(std::int16_t message, Fixed percentDone)
    {
        return m_progress ? m_progress(*this, message, progressOpExportMovie, percentDone, m_context) : noErr;
    }

private:
    DataReference m_source;
    std::vector<QTTrack> m_tracks;
    MovieProgressProc m_progress = nullptr;
    void* m_context = nullptr;
};

// Tracks are counted from 1; null where there is none.
inline std::size_t GetMovieTrackCount(const Movie& movie) { return movie.tracks().size(); }
inline const QTTrack* GetMovieIndTrack(const Movie& movie, std::size_t index)
{
    return index >= 1 && index <= movie.tracks().size() ? &movie.tracks()[index - 1] : nullptr;
}
inline bool GetTrackEnabled(const QTTrack& track) { return track.isEnabled; }
inline const QTMedia* GetTrackMedia(const QTTrack& track) { return &track.media; }

/// An export component.
class MovieExporter {
public:
    MovieExportSettings settings;
};

inline constexpr OSType MovieExportType = 0x73706974; // 'spit'
inline constexpr std::int16_t newMovieActive = 1;
/// Flags of ConvertMovieToDataRef.
inline constexpr std::uint32_t createMovieFileDeleteCurFile = 0x80000000;
inline constexpr std::uint32_t createMovieFileDontCreateResFile = 0x10000000;

/// The toolbox; services use shared(), tests derive. Safe on several threads at once, one movie on one thread.
class MovieToolbox {
public:
    virtual ~MovieToolbox() = default;
    static MovieToolbox& shared();

    /// The bracket around all work; the toolbox on real files needs neither.
    virtual OSStatus EnterMovies() { return noErr; }
    virtual void ExitMovies() { }
    virtual OSStatus QTNewDataReferenceFromFSRef(const FSRef& ref, DataReference& reference);
    /// noMovieFound for a file that is no movie. `movie` is null after an error.
    virtual OSStatus NewMovieFromDataRef(
        std::unique_ptr<Movie>& movie, std::int16_t flags, const DataReference& reference);
    virtual void SetMovieProgressProc(Movie& movie, MovieProgressProc progress, void* context);
    /// The exporter to MPEG-4 ('spit', 'mpg4'); null for any other.
    virtual std::unique_ptr<MovieExporter> OpenDefaultComponent(OSType type, OSType subtype);
    /// paramErr for what is no container of settings.
    virtual OSStatus MovieExportSetSettingsFromAtomContainer(MovieExporter& exporter, ByteView container);
    /// Writes the whole movie, its pictures and sounds as they are, into the destination's file in the making, which
    /// takes its name when it is complete, replacing a file of that name; after an error or a cancel (userCanceledErr)
    /// it stays as it was. noExportProcAvailableErr for streams that the file type cannot hold.
    virtual OSStatus ConvertMovieToDataRef(Movie& movie, const DataReference& destination, OSType fileType,
        OSType creator, std::uint32_t flags, MovieExporter& exporter);
};

} // namespace mv
