#pragma once

#include "client/MediaRequests.h"

namespace mv {

/// The name of the error that an answer becomes which is not as its interface says.
inline constexpr const char* WrongAnswer = "org.freedesktop.DBus.Error.InconsistentMessage";

// What Mivo.Media1 answers, out of its messages. Keys that are not known are for later versions; a known one of another
// type, and whatever else is not as the interface says, throws BusError (WrongAnswer).

MediaDescription readDescription(WireReader& in);
/// As many as there were paths.
MediaDescriptions readDescriptions(WireReader& in, std::size_t paths);
MediaThumbnail readThumbnail(WireReader& in);
Facts readFacts(WireReader& in);
MediaJobPlace readJobPlace(WireReader& in);

/// An error of the interface or of the bus, by its whole name.
Error mediaError(std::string name, std::string message);

/// The exception that is being handled, as errorOfCall has it, and with the kinds of the interface's own errors.
Error mediaErrorOfCall();

/// What a call of the interface gives, or why it failed.
template <class Call> Result<std::invoke_result_t<Call>> mediaResultOf(const Call& call)
{
    try {
        return call();
    } catch (...) {
        return mediaErrorOfCall();
    }
}

} // namespace mv
