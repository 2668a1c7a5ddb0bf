// Any bytes as what two encoders have made: the first byte says where they are parted and the second in what pieces the
// first stream comes. Whatever is joined has the sizes and the headers that it had, and every byte counts once.

#include "mp3/FrameJoint.h"
#include "mp3/StreamSummary.h"

#include <algorithm>
#include <cstdlib>

using namespace mv;

namespace {

void check(bool isWell)
{
    if (!isWell)
        std::abort();
}

Bytes allFrames(const Mp3FrameStream& stream)
{
    Bytes bytes;
    for (std::size_t number = stream.first(); number < stream.end(); ++number) {
        ByteView frame = stream.bytes(number);
        check(frame.size() == stream.facts(number).size && stream.facts(number).room < frame.size());
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    return bytes;
}

void join(Mp3FrameStream& earlier, const Mp3FrameStream& later)
{
    auto joint = findJoint(earlier, later, earlier.first(), 0, earlier.end());
    if (!joint)
        return;
    check(earlier.contains(*joint) && later.contains(*joint));
    check(earlier.facts(*joint).mainDataBegin >= later.facts(*joint).mainDataBegin);
    Bytes before = allFrames(earlier);
    joinAt(*joint, earlier, later);
    std::size_t taken = later.facts(*joint).mainDataBegin;
    check(earlier.mainDataBefore(*joint, taken) == later.mainDataBefore(*joint, taken));
    // Read again, what comes out is frames in front of the same sizes.
    Mp3FrameStream again(earlier.first());
    Bytes after = allFrames(earlier);
    check(after.size() == before.size() && again.append(after));
    check(again.end() == earlier.end() || !again.tableRoom().empty());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    ByteView bytes { data + 2, size - 2 };
    std::size_t parted = bytes.size() * data[0] / 255;
    std::size_t piece = std::size_t { data[1] } + 1;
    Mp3FrameStream earlier(7);
    for (std::size_t i = 0; i < parted; i += piece)
        earlier.append(bytes.subspan(i, std::min(piece, parted - i)));
    Mp3FrameStream later(7 + data[1] % 4);
    later.append(bytes.subspan(parted));
    join(earlier, later);
    Mp3StreamSummary summary;
    for (std::size_t number = later.first(); number < later.end(); ++number)
        summary.add(later.bytes(number));
    Bytes table(bytes.begin(), bytes.end());
    summary.describeIn(table);
    check(table.size() == bytes.size());
    return 0;
}
