#pragma once

#include "client/ServiceBus.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace mv {

class MediaJobContent;

/// A file that Mivo.Media1 encodes. What is told of it stands here as of the last time that its connection was served,
/// on whose thread it lives; nothing is asked for. Releases the service's job at the end, which cancels one that runs.
class MediaJob {
public:
    enum class State {
        Running, ///< or waiting for its turn
        Done,
        Failed,
        Cancelled,
    };

    explicit MediaJob(std::shared_ptr<MediaJobContent> content);
    ~MediaJob();
    MediaJob(const MediaJob&) = delete;
    MediaJob& operator=(const MediaJob&) = delete;

    State state() const;
    bool hasEnded() const { return state() != State::Running; }
    /// 0 to 1, never less than before; 1 when it is done.
    double progress() const;
    /// Why it failed or was cancelled; a service that left with it is Error::Kind::Io.
    const std::optional<Error>& error() const;
    /// Of its object at the service.
    const std::string& path() const;

    /// Called after each change, the last of which is the end; on the thread that serves the connection.
    void onChange(std::function<void()> changed);
    /// Asks the service to end it, and does not wait for that: the end is told like any other.
    void cancel();

private:
    std::shared_ptr<MediaJobContent> m_content;
};

} // namespace mv
