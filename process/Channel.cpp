#include "process/Channel.h"

#include "Base/Core/ByteReader.h"
#include "system/SystemError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <utility>

namespace mv {

namespace {

constexpr std::size_t HeaderBytes = 5;
// More than the messages of a call without a picture.
constexpr std::size_t BufferBytes = std::size_t { 8 } << 10;
// Taken at once of a payload that is announced to be longer.
constexpr std::size_t FirstPayloadBytes = std::size_t { 1 } << 20;

/// Room for the control message that carries the most descriptors.
struct ControlRoom {
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int) * Channel::MaxDescriptors)> bytes {};
};

void attach(msghdr& message, ControlRoom& room, std::span<const int> descriptors)
{
    message.msg_control = room.bytes.data();
    message.msg_controllen = CMSG_SPACE(descriptors.size_bytes());
    cmsghdr* control = CMSG_FIRSTHDR(&message);
    control->cmsg_level = SOL_SOCKET;
    control->cmsg_type = SCM_RIGHTS;
    control->cmsg_len = CMSG_LEN(descriptors.size_bytes());
    std::memcpy(CMSG_DATA(control), descriptors.data(), descriptors.size_bytes());
}

/// Takes over every descriptor that came, wanted or not.
void collect(msghdr& message, std::vector<UniqueFd>& descriptors)
{
    for (cmsghdr* control = CMSG_FIRSTHDR(&message); control; control = CMSG_NXTHDR(&message, control)) {
        if (control->cmsg_level != SOL_SOCKET || control->cmsg_type != SCM_RIGHTS)
            continue;
        std::size_t count = (control->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t i = 0; i < count; ++i) {
            int fd = -1;
            std::memcpy(&fd, CMSG_DATA(control) + i * sizeof(int), sizeof fd);
            descriptors.emplace_back(fd);
        }
    }
}

bool isInterruption(int code) { return code == EINTR || code == EAGAIN || code == EWOULDBLOCK; }

Error endedEarly() { return { Error::Kind::Io, "the other process ended in the middle of a message", EPIPE }; }

} // namespace

Result<std::pair<UniqueFd, UniqueFd>> Channel::makeEnds()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return systemError(errno, "socketpair");
    return std::pair(UniqueFd(ends[0]), UniqueFd(ends[1]));
}

Result<void> Channel::await(short events, Clock::time_point deadline) const
{
    pollfd waiting { m_socket.get(), events, 0 };
    while (true) {
        int patience = -1;
        if (deadline != NoDeadline) {
            auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
            patience = static_cast<int>(std::clamp<std::int64_t>(left, 0, 1'000'000));
        }
        int ready = poll(&waiting, 1, patience);
        if (ready > 0)
            return {};
        if (ready < 0 && errno != EINTR)
            return systemError(errno, "poll");
        if (deadline != NoDeadline && Clock::now() >= deadline)
            return Error { Error::Kind::State, "the other process does not answer in time", ETIMEDOUT };
    }
}

/// The call that receives is the one that waits, but for the last part of what is left: the system ends its wait up to
/// an eighth too late. One call's deadline is about as far away as that of the call before, and what was set for that
/// one is kept where it is a little shorter.
Result<void> Channel::limitWait(Clock::time_point deadline)
{
    using std::chrono::milliseconds;
    constexpr int Little = 16;
    milliseconds wait {};
    if (deadline != NoDeadline) {
        auto left = std::chrono::floor<milliseconds>(deadline - Clock::now());
        wait = std::clamp<milliseconds>(left * 7 / 8, milliseconds(1), std::chrono::hours(24));
    }
    bool isSet = m_wait == wait || (m_wait < wait && m_wait > wait - wait / Little);
    if (isSet)
        return {};
    auto seconds = std::chrono::floor<std::chrono::seconds>(wait);
    timeval limit { seconds.count(), std::chrono::microseconds(wait - seconds).count() };
    if (setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) != 0)
        return systemError(errno, "setsockopt");
    m_wait = wait;
    return {};
}

/// The flags of the next call that receives. At the deadline what is there is taken, and nothing is waited for: a
/// sender of a byte now and then would never let a wait end.
Result<int> Channel::prepareToReceive(Clock::time_point deadline)
{
    if (deadline != NoDeadline && Clock::now() >= deadline)
        return MSG_DONTWAIT;
    MV_TRY_VOID(limitWait(deadline));
    return 0;
}

Result<void> Channel::awaitMessage(Clock::time_point deadline) const
{
    return holdsMore() ? Result<void> {} : await(POLLIN, deadline);
}

Result<void> Channel::send(
    std::uint8_t kind, ByteView payload, std::span<const int> descriptors, Clock::time_point deadline)
{
    if (payload.size() > MaxPayloadBytes || descriptors.size() > MaxDescriptors)
        return Error { Error::Kind::Unsupported, "a message is too long to be sent" };
    Bytes header;
    ByteWriter writer(header);
    writer.u32le(static_cast<std::uint32_t>(payload.size()));
    writer.u8(kind);

    std::size_t done = 0;
    const std::size_t total = header.size() + payload.size();
    while (done < total) {
        ByteView head = ByteView(header).subspan(std::min(done, header.size()));
        ByteView rest = payload.subspan(done > header.size() ? done - header.size() : 0);
        // The system's structure is not const, though it is only read.
        iovec parts[] = { { const_cast<std::uint8_t*>(head.data()), head.size() },
            { const_cast<std::uint8_t*>(rest.data()), rest.size() } };
        msghdr message {};
        message.msg_iov = parts;
        message.msg_iovlen = std::size(parts);
        ControlRoom room;
        if (done == 0 && !descriptors.empty())
            attach(message, room, descriptors);
        int flags = MSG_NOSIGNAL | (deadline == NoDeadline ? 0 : MSG_DONTWAIT);
        ssize_t sent = sendmsg(m_socket.get(), &message, flags);
        if (sent < 0 && !isInterruption(errno))
            return systemError(errno, "send");
        if (sent < 0)
            MV_TRY_VOID(await(POLLOUT, deadline));
        else
            done += static_cast<std::size_t>(sent);
    }
    return {};
}

/// Reads what there is behind what is buffered. False at the end of the stream.
Result<bool> Channel::fillBuffer(Clock::time_point deadline, std::size_t expectedDescriptors)
{
    while (true) {
        MV_TRY(flags, prepareToReceive(deadline));
        std::size_t held = buffered().size();
        std::move(m_buffer.begin() + static_cast<std::ptrdiff_t>(m_taken), m_buffer.end(), m_buffer.begin());
        m_taken = 0;
        m_buffer.resize(held + BufferBytes);
        iovec part { m_buffer.data() + held, BufferBytes };
        msghdr message {};
        message.msg_iov = &part;
        message.msg_iovlen = 1;
        ControlRoom room;
        // Without room for them the system closes descriptors itself.
        if (expectedDescriptors > 0) {
            message.msg_control = room.bytes.data();
            message.msg_controllen = room.bytes.size();
        }
        ssize_t got = recvmsg(m_socket.get(), &message, flags | MSG_CMSG_CLOEXEC);
        int code = errno;
        m_buffer.resize(held + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
        if (got >= 0)
            collect(message, m_descriptors);
        if (got > 0)
            return true;
        if (got == 0)
            return false;
        if (!isInterruption(code))
            return systemError(code, "receive");
        MV_TRY_VOID(await(POLLIN, deadline));
    }
}

/// False at the end of the stream. Descriptors come with the first byte.
Result<bool> Channel::receiveHeader(Frame& frame, Clock::time_point deadline, std::size_t expectedDescriptors)
{
    while (buffered().size() < HeaderBytes) {
        MV_TRY(more, fillBuffer(deadline, expectedDescriptors));
        if (!more)
            return buffered().empty() ? Result<bool>(false) : endedEarly();
    }
    frame.descriptors = std::exchange(m_descriptors, {});
    if (frame.descriptors.size() > expectedDescriptors)
        return Error { Error::Kind::Format, "descriptors came that nobody asked for" };
    return true;
}

Result<void> Channel::receivePayload(Bytes& payload, std::size_t length, Clock::time_point deadline)
{
    ByteView there = buffered().first(std::min(length, buffered().size()));
    payload.assign(there.begin(), there.end());
    m_taken += there.size();
    std::size_t done = payload.size();
    while (done < length) {
        if (done == payload.size())
            payload.resize(std::min(length, std::max(FirstPayloadBytes, 2 * done)));
        MV_TRY(got, receiveSome(std::span(payload).subspan(done), deadline));
        done += got;
    }
    return {};
}

Result<std::size_t> Channel::receiveSome(std::span<std::uint8_t> target, Clock::time_point deadline)
{
    while (true) {
        MV_TRY(flags, prepareToReceive(deadline));
        ssize_t got = recv(m_socket.get(), target.data(), target.size(), flags);
        if (got > 0)
            return static_cast<std::size_t>(got);
        if (got == 0)
            return endedEarly();
        if (!isInterruption(errno))
            return systemError(errno, "receive");
        MV_TRY_VOID(await(POLLIN, deadline));
    }
}

Result<std::optional<Frame>> Channel::receive(Clock::time_point deadline, std::size_t expectedDescriptors)
{
    Frame frame;
    MV_TRY(begun, receiveHeader(frame, deadline, expectedDescriptors));
    if (!begun)
        return std::optional<Frame> {};
    ByteReader reader(buffered().first(HeaderBytes));
    std::size_t length = reader.u32le();
    frame.kind = reader.u8();
    m_taken += HeaderBytes;
    if (length > m_longest)
        return Error { Error::Kind::Limit, "a message claims to be too long" };
    MV_TRY_VOID(receivePayload(frame.payload, length, deadline));
    return std::optional(std::move(frame));
}

} // namespace mv
