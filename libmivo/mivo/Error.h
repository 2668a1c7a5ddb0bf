#pragma once

#include <mivo/Export.h>

#include <exception>
#include <memory>
#include <string>

namespace mivo {

class ErrorContent;

/// Why a call failed. Every operation of the library throws this, and nothing else but std::bad_alloc and what a
/// caller's own function throws. A file of which nothing is known is no error.
class MIVO_API Error : public std::exception {
public:
    enum class Kind {
        NoBus, ///< there is no session bus that answers
        NoService, ///< nobody has the services' names, and starting the service failed or was not wanted
        Lost, ///< bus or service went away before the answer; whether the work was done is not known
        InvalidArgument, ///< a path, key or value that the service cannot take
        TooLarge, ///< an answer or argument above the bus's limit of 32 MiB, or more than the service reads or writes
        JobFailed, ///< a job ended with the error code()
        Busy, ///< the Client is in the midst of a call: of another thread, or of the one whose progress is told
        Failed, ///< any other failure; name() may say more

        // Of a MediaClient.
        NotFound, ///< there is no such file
        AccessDenied, ///< it may not be read, or not written
        NotRegular, ///< a folder, a FIFO, a device
        NotMedia, ///< of no format that is read
        NoPicture, ///< nothing to make a thumbnail of
        Unsupported, ///< this format's tags are not written, this sound is not encoded
        Exists, ///< the destination is there already
        NoSpace, ///< the disk is full
        TimedOut, ///< reading it took too long
        Crashed, ///< what read it died; the file is left alone for a while
        Cancelled, ///< by the caller, or because its client has ended
    };

    Error(Kind kind, std::string text, std::string name = {}, int code = 0);
    Error(const Error& other) noexcept;
    Error& operator=(const Error& other) noexcept;
    ~Error() override;

    Kind kind() const noexcept;
    /// A sentence for people, in UTF-8; never to be parsed.
    const char* what() const noexcept override;
    /// The name of the D-Bus error that the service answered with; empty where it was none.
    const std::string& name() const noexcept;
    /// A job's result code, or an errno; 0 where there is none.
    int code() const noexcept;

private:
    std::shared_ptr<const ErrorContent> m_content;
};

} // namespace mivo
