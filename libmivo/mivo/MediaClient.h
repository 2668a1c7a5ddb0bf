#pragma once

#include <mivo/Client.h>
#include <mivo/Described.h>
#include <mivo/FactKeys.h>
#include <mivo/Job.h>
#include <mivo/Pending.h>
#include <mivo/Picture.h>
#include <mivo/Record.h>
#include <mivo/Source.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace mivo {

extern template class MIVO_API Pending<Record>;
extern template class MIVO_API Pending<Description>;
extern template class MIVO_API Pending<std::vector<Described>>;
extern template class MIVO_API Pending<Picture>;
extern template class MIVO_API Pending<Job>;

class MediaContent;

/// The service's interface for every format: facts, pictures, tags and encodings, many calls at a time.
///
/// A call is sent at once and gives a Pending, which is waited for (get()) or tells (then()). The service works on as
/// many calls as there are cores; several dozen under way keep it busy. Answers come in any order.
///
/// Threads. The library has none. A client belongs to one thread at a time, with all Pendings and Jobs of it: another
/// one meanwhile is refused (Error::Kind::Busy). Answers are taken, and callbacks called, while that thread is in
/// dispatch(), finish(), get(), waitFor() or wait(), never within another call. Callbacks may call the client, wait,
/// cancel and drop, but not end the client; what they throw comes out of what had them called.
///
/// Main loops. Watch fd() for reading, and call dispatch() whenever it is readable: QSocketNotifier, g_unix_fd_add,
/// sd_event_add_io, poll. There is nothing else to watch, no other event and no time-out, and the descriptor stays the
/// same as long as the client.
///
/// Cancelling. The service stops a call when the connection that it came by leaves the bus. So a client that ends stops
/// all of its calls; and a call that is cancelled or dropped alone takes its connection with it as soon as no other
/// call by it is wanted, while new calls go by another one. A Job is cancelled by itself.
///
/// Failures are Errors, with the kinds of the interface (NotFound, NotMedia, Crashed...). What is wrong with arguments
/// is thrown by the call itself, the rest by get(). Calls have no time limit of the library's; the service has its own.
/// The service is started by the first call that needs it, like that of a Client; where this process has to start it,
/// that one dispatch waits until it is there. A connection that is lost fails its calls and jobs (Error::Kind::Lost),
/// and the next call opens another. A MediaClient is of no use in a process that was forked from its own.
class MIVO_API MediaClient {
public:
    /// Connects to the session bus.
    MediaClient();
    explicit MediaClient(const ClientOptions& options);
    MediaClient(MediaClient&& other) noexcept;
    MediaClient& operator=(MediaClient&& other) noexcept;
    /// Stops what is under way: Pendings become ready with Error::Kind::Cancelled, no callback is called, jobs end.
    ~MediaClient();

    /// More paths are refused.
    static constexpr std::size_t MaxDescribed = 1000;

    /// What is known of a file: keys of mivo::keys::fact.
    [[nodiscard]] Pending<Record> describe(const Source& file);
    /// The same with the pictures that it carries.
    [[nodiscard]] Pending<Description> describeWithPictures(const Source& file);
    /// Many files at once, which is the fast way: one answer for each path, in their order.
    [[nodiscard]] Pending<std::vector<Described>> describeMany(const std::vector<std::string>& paths);

    /// A picture of the file that fits into a square of so many pixels (1 to 2,048): of a picture, of a song's cover,
    /// of a frame of a video. It has the file's proportions, and is not enlarged. Options are keys of
    /// mivo::keys::thumbnailing.
    [[nodiscard]] Pending<Picture> thumbnail(const Source& file, int size, const Record& options = {});

    /// Changes tags, all or nothing, and says what is known of the file then. Keys are those of mivo::keys::fact that
    /// tags have (docs/media1.md), and mivo::keys::fact::FrontCover: a JPEG or PNG. What is not named stays; null, an
    /// empty text and no texts remove. Of a key of texts one text is a list of it. A call that is cancelled may still
    /// be done.
    [[nodiscard]] Pending<Record> setTags(const std::string& path, const Record& changes);

    /// Makes an MP3 or M4A file of any sound, with its tags. Options are keys of mivo::keys::encoding. The Pending
    /// tells that the job has begun, or why it cannot.
    [[nodiscard]] Pending<Job> encode(
        const std::string& source, const std::string& destination, const Record& options = {});

    /// Calls that have not been answered, cancelled or dropped.
    std::size_t underWay() const noexcept;

    /// To be watched for reading; belongs to the client.
    int fd() const noexcept;
    /// Takes what has come, calls back, and does not wait.
    void dispatch();
    /// Waits until no call is under way, those that callbacks make included, and every callback has been called. Jobs
    /// are not waited for.
    void finish();

private:
    std::shared_ptr<MediaContent> m_content;
};

} // namespace mivo
