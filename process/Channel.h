#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace mv {

/// One message between two processes.
struct Frame {
    std::uint8_t kind = 0;
    Bytes payload;
    std::vector<UniqueFd> descriptors;
};

/// Frames over a connected stream socket: four bytes of length (little endian, of the payload alone), one of kind, the
/// payload. Nothing that the other side sends is believed: memory is taken as bytes arrive, not as they are announced,
/// and descriptors that were not asked for are closed. A failure leaves the stream at an unknown place: it is final.
///
/// One thread sends and one receives; they may be two. Whoever sends descriptors waits for an answer before the next
/// frame: the system does not tell to which of two they belong.
class Channel {
public:
    using Clock = std::chrono::steady_clock;
    /// A call or an answer on the bus has at most 128 MiB; what else there is in a message is far smaller.
    static constexpr std::size_t MaxPayloadBytes = 130u << 20;
    static constexpr std::size_t MaxDescriptors = 16;
    static constexpr Clock::time_point NoDeadline = Clock::time_point::max();

    /// `longest` payload that the other side may send.
    explicit Channel(UniqueFd socket, std::size_t longest = MaxPayloadBytes)
        : m_socket(std::move(socket))
        , m_longest(longest)
    {
    }
    /// Two ends; both are closed where another program is started.
    static Result<std::pair<UniqueFd, UniqueFd>> makeEnds();

    /// The descriptors are copied to the other process; the caller keeps its own. Unsupported for more than there may
    /// be: then nothing was sent.
    Result<void> send(std::uint8_t kind, ByteView payload, std::span<const int> descriptors = {},
        Clock::time_point deadline = NoDeadline);
    /// Nothing when the other side has closed its end between two frames. Limit for a payload that is too long, State
    /// at the deadline, Io where the other side ends in the middle of a frame.
    Result<std::optional<Frame>> receive(Clock::time_point deadline = NoDeadline, std::size_t expectedDescriptors = 0);

    /// Waits until something comes, the other side's end too; State at the deadline, after which it goes on as before.
    Result<void> awaitMessage(Clock::time_point deadline) const;

    /// Whether something was read beyond the last frame: a poll of the socket does not see that.
    bool holdsMore() const { return !buffered().empty(); }

    int socket() const { return m_socket.get(); }

private:
    Result<bool> fillBuffer(Clock::time_point deadline, std::size_t expectedDescriptors);
    Result<bool> receiveHeader(Frame& frame, Clock::time_point deadline, std::size_t expectedDescriptors);
    Result<void> receivePayload(Bytes& payload, std::size_t length, Clock::time_point deadline);
    Result<std::size_t> receiveSome(std::span<std::uint8_t> target, Clock::time_point deadline);
    Result<void> await(short events, Clock::time_point deadline) const;
    Result<void> limitWait(Clock::time_point deadline);
    Result<int> prepareToReceive(Clock::time_point deadline);
    ByteView buffered() const { return ByteView(m_buffer).subspan(m_taken); }

    UniqueFd m_socket;
    std::size_t m_longest;
    std::chrono::milliseconds m_wait {}; // that the socket's receiving calls do at most; 0 for ever
    // What was read beyond a frame; most frames come whole with their header by one system call.
    Bytes m_buffer;
    std::size_t m_taken = 0; // of the buffer
    std::vector<UniqueFd> m_descriptors; // that came with it
};

} // namespace mv
