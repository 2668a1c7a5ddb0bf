#pragma once

#include "Base/Core/Path.h"
#include "client/Media1Client.h"

#include <functional>
#include <map>
#include <memory>
#include <vector>

namespace mv::cli {

/// A file that is to be encoded.
struct SoundJob {
    Path source;
    Path made; ///< a name that is free, in a folder of the job's own
    MediaEncoding encoding; ///< with its format
    bool carriesTags = true;
};

/// Jobs of Mivo.Media1 under way, each to the end of the file that it makes: every tag of the source and its covers
/// along, as far as TagLib reads them, else those that the service knows. One that fails leaves no file.
class SoundJobs {
public:
    explicit SoundJobs(Media1Client& media)
        : m_media(media)
    {
    }
    SoundJobs(const SoundJobs&) = delete;
    SoundJobs& operator=(const SoundJobs&) = delete;

    using Progress = std::function<void(double part)>; ///< 0 to 1
    /// The end: true where not all tags had room, Error::Kind::Cancelled after cancelAll.
    using Ended = std::function<void(Result<bool> isCut)>;
    /// Both are called while the connection is served.
    void begin(SoundJob job, Progress progress, Ended ended);

    /// Asks the service to end what is under way; the ends are told. What is begun later ends so at once.
    void cancelAll();

private:
    class Work;

    void ended(Work* work);

    Media1Client& m_media;
    std::map<Work*, std::shared_ptr<Work>> m_works;
    std::vector<std::shared_ptr<Work>> m_past; ///< a job does not end inside its own news
    bool m_isCancelled = false;
};

} // namespace mv::cli
