#pragma once

#include "system/FileReplacement.h"

#include <cstdint>
#include <functional>
#include <optional>

// What a worker says while the host replaces a file, as bytes: the plan of the new content, and whether what was made
// of it is as it was meant.

namespace mv {

/// What goes with a file that is to be planned or checked: its size as the host knows it.
Bytes encodeFileSize(std::uint64_t size);
Result<std::uint64_t> decodeFileSize(ByteView bytes);

/// What a plan gave: new content, nothing to leave the file alone, or why there is none.
using PlannedContent = Result<std::optional<FileContent>>;

/// Hands the messages of a plan to `send` until that fails. A long literal becomes several, so that neither side holds
/// a long plan twice.
Result<void> encodePlan(const PlannedContent& plan, const std::function<Result<void>(ByteView)>& send);

/// Puts a plan together from messages that nobody vouches for: copies lie within a file of that size, in its order,
/// without a byte twice, and what is new has bounds. So nothing comes of a plan but the old file's bytes and new ones.
class PlanDecoder {
public:
    /// As many stretches as an honest plan may have: two for each row of a random access table, whose fragments have
    /// more bytes. Their literals: the largest tag, and a movie box whose tables became wide.
    static constexpr std::size_t FewSegments = std::size_t { 1 } << 16;
    static constexpr std::uint64_t BytesOfSegment = 32;
    static constexpr std::size_t MaxSegments = std::size_t { 1 } << 22;
    static constexpr std::size_t MaxLiteralBytes = std::size_t { 384 } << 20;

    explicit PlanDecoder(std::uint64_t fileSize)
        : m_fileSize(fileSize)
    {
    }

    /// True when the plan is whole; an error is final. Limit or Format for what encodePlan does not write.
    Result<bool> add(ByteView message);
    /// Once it is whole.
    PlannedContent plan() { return std::move(m_plan); }

private:
    Result<void> addSegments(ByteView bytes);
    Result<void> addCopy(std::uint64_t offset, std::uint64_t length);
    Result<void> addLiteral(ByteView bytes);

    std::uint64_t m_fileSize;
    std::uint64_t m_copiedTo = 0;
    std::size_t m_literalBytes = 0;
    FileContent m_content;
    PlannedContent m_plan { std::nullopt };
};

/// What a check gave.
Bytes encodeVerdict(const Result<void>& verdict);
/// Nothing where all is well, or why not, as the worker says it. Format for bytes that encodeVerdict does not write.
Result<std::optional<Error>> decodeVerdict(ByteView bytes);

} // namespace mv
