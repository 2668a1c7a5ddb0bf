#pragma once

#include <mivo/Error.h>
#include <mivo/Export.h>
#include <mivo/Record.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace mivo {

/// How a job ended that did not fail.
enum class JobEnd {
    Done,
    Cancelled, ///< by its Progress; what had been written is gone
};

/// Hears how much of a job is done, in whole percent, growing; false cancels the job. Called on the thread that called,
/// often: what takes long here keeps the job waiting, and one that takes a minute has cancelled it. It must not call
/// the Client that runs the job (Error::Kind::Busy); other Clients it may, but not for the service that does the job.
/// What it throws cancels the job and comes out of the call.
using Progress = std::function<bool(int percent)>;

/// A service that describes files.
enum class Describer {
    ByName, ///< the one that the ending of the file's name calls for
    MP3,
    MP4, ///< songs in MPEG-4 files
    BasicAudio, ///< FLAC and Ogg files
    AudioVideo, ///< movies, and every other sound
    Image,
};

class ClientOptionsContent;

/// How a Client comes to its service.
class MIVO_API ClientOptions {
public:
    ClientOptions();
    ClientOptions(const ClientOptions& other);
    ClientOptions& operator=(const ClientOptions& other);
    ~ClientOptions();

    /// Whether the service is started by this process where neither it runs nor the bus knows how to start it; true at
    /// first. It outlives this process and serves every other.
    ClientOptions& startService(bool start);
    /// The service's program, for that; at first the one that was installed with this library, else the one on the
    /// PATH.
    ClientOptions& serviceProgram(std::string path);

private:
    friend class ClientContent;
    friend class MediaContent;

    std::unique_ptr<ClientOptionsContent> m_content;
};

class ClientContent;

/// A connection to the media services on the session bus.
///
/// Files are named by their paths, in UTF-8; a relative one is taken from this process's working folder. The service
/// opens them, with the rights of its own process. Each operation waits until it is done, however long that takes, and
/// throws Error where it fails.
///
/// A Client belongs to one thread at a time: a second call while one is under way is refused (Error::Kind::Busy).
/// Clients are independent of each other, and threads that work at the same time have one each. The library has no
/// threads, touches no signals and no environment, and writes to no stream. A Client is of no use in a process that was
/// forked from its own.
class MIVO_API Client {
public:
    /// Connects to the session bus. The service is started by the first call that needs it.
    Client();
    explicit Client(const ClientOptions& options);
    Client(Client&& other) noexcept;
    Client& operator=(Client&& other) noexcept;
    ~Client();

    /// What is known of a file: keys of mivo::keys. Nothing where the file is not there, or none that the service
    /// knows.
    std::optional<Record> describe(const std::string& path, Describer describer = Describer::ByName);

    /// A picture's thumbnail that fits into a rectangle, in pixels; what is clear in it is white: keys of
    /// mivo::keys::thumbnail. Nothing where the file is no picture that can be read.
    std::optional<Record> thumbnail(const std::string& path, double maximumWidth, double maximumHeight);

    /// Camera and exposure facts of a picture: those keys of mivo::keys::exif that it has. Nothing where it has none.
    std::optional<Record> exif(const std::string& path);

    /// The podcast identifiers of a song: keys of mivo::keys::podcast. Nothing where it has none.
    std::optional<Record> podcast(const std::string& path);

    /// Changes the tag of an MP3 or M4A file: sets the fields that are given, empties those that are given as null, and
    /// keeps all others. The fields are Title, Artist, Album, Composer, Genre, TrackNo and AlbumArt (a JPEG picture) of
    /// both, ReservedText (the comment) of MP3, and AlbumArtist, DateReleased and DiscNo of M4A files; another one is
    /// Error::Kind::InvalidArgument. The file is replaced whole or not at all.
    void updateTags(const std::string& path, const Record& changes);

    /// Makes an MP3 file of any sound; attributes are keys of mivo::keys::encoder. A file that is there is replaced.
    JobEnd encode(const std::string& input, const std::string& output, const Record& attributes = {},
        const Progress& progress = {});

    /// Makes an M4A file with AAC of any sound. The bit rate is in bits per second, from 1000 to 256000.
    JobEnd convertToAac(
        const std::string& input, const std::string& output, int bitrate, const Progress& progress = {});

    /// Puts the tracks of a movie into an MP4 file as they are; nothing is encoded anew.
    JobEnd exportToMp4(const std::string& input, const std::string& output, const Progress& progress = {});

    /// True when the file holds Apple Lossless sound; false also where that cannot be told.
    bool isAppleLossless(const std::string& path);

private:
    std::unique_ptr<ClientContent> m_content;
};

} // namespace mivo
