#pragma once

#include "Base/Core/Path.h"
#include "Base/Core/Result.h"
#include "client/ServiceBus.h"

#include <chrono>
#include <memory>
#include <sys/types.h>

namespace mv {

/// A program that this process started; ended and waited for at the end of the scope. It is killed along with this
/// process, however that ends, and gets no signals of its terminal.
class ChildProcess {
public:
    ChildProcess() = default;
    ChildProcess(ChildProcess&& other) noexcept
        : m_processId(std::exchange(other.m_processId, -1))
        , m_exitStatus(other.m_exitStatus)
    {
    }
    ChildProcess& operator=(ChildProcess&& other) noexcept;
    ~ChildProcess() { end(); }

    struct Options {
        bool quiet = true; ///< standard error goes nowhere
        bool outlivesUs = false; ///< keeps running, as a process of its own
        int keepOpen = -1; ///< a descriptor that the program inherits
    };
    static Result<ChildProcess> start(const std::vector<std::string>& command, const Options& options);

    pid_t processId() const { return m_processId; }
    /// True while the program runs.
    bool isRunning();
    /// The exit status of a program that has ended by itself, and was seen to by isRunning; -1 before, and for a
    /// program that a signal ended.
    int exitStatus() const { return m_exitStatus; }
    /// Lets it run on. Once it has ended, the next start() waits for it.
    void release();
    /// Asks it to end, and makes it after a while.
    void end();

private:
    explicit ChildProcess(pid_t processId)
        : m_processId(processId)
    {
    }

    pid_t m_processId = -1;
    int m_exitStatus = -1;
};

/// The service for the time of a command.
///
/// With a session bus it is the one that runs there. Where none does the bus starts it, if it knows how to; else one is
/// started by this process and keeps running. Without a session bus a private bus is started with the service on it,
/// the environment is pointed at it, and both end with this object. A service that another command is starting, or one
/// that is just leaving, is waited for. Make it before the first thread.
class ServiceProcess {
public:
    struct Options {
        Path program; ///< the service's executable
        bool showLog = false; ///< a service that is started writes its log to our standard error
        /// How long some of the names may be held while others are not: a service gives all of them up within moments,
        /// and has all of them within moments.
        std::chrono::milliseconds heldNamesTimeout { 5000 };
    };

    static Result<std::unique_ptr<ServiceProcess>> ensure(const Options& options);

private:
    ServiceProcess() = default;

    static Result<void> activate(ServiceBus& bus, const Options& options);
    Result<void> startService(ServiceBus& bus, const Options& options, bool outlivesUs);

    // The service ends before its bus does.
    ChildProcess m_bus;
    ChildProcess m_service;
};

/// True when the environment names a session bus that answers.
bool haveSessionBus();
/// The service's executable beside our own.
Path serviceProgramBesideUs();

} // namespace mv
