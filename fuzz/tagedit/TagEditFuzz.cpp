// Changes of the tags of any bytes: a plan is one that the host takes, and what passes its check can be changed again.
// The first byte says what is changed.
#include "service/job/PlanCode.h"
#include "service/tagedit/TagEdit.h"

#include <cstdlib>

using namespace mv;

namespace {

TagChanges changesFor(std::uint8_t choice)
{
    TagChanges changes;
    auto set = [&](TagKey key, TagChanges::Values values) {
        changes[key] = choice & 0x80 ? TagChanges::Values() : std::move(values);
    };
    set(TagKey::Title, { std::string(choice & 1 ? 70'000 : 5, 'x') });
    if (choice & 2)
        set(TagKey::Artist, { "AC/DC", "\xEC\xA0\x9C" });
    if (choice & 4)
        set(TagKey::Comment, { "One", "Two" });
    if (choice & 8)
        set(TagKey::TrackTotal, { "12" });
    if (choice & 16)
        set(TagKey::Date, { "2010-05-04" });
    if (choice & 32)
        changes.frontCover = choice & 64 ? Bytes() : Bytes { 0xFF, 0xD8, 0xFF, 0xE0, 1, 2, 3 };
    if (choice & 64)
        set(TagKey::Genre, { "(Own" });
    return changes;
}

/// As the host takes the plan over, and makes the file.
Bytes madeOf(ByteView old, const FileContent& content)
{
    PlanDecoder decoder(old.size());
    auto taken = encodePlan(std::optional(content), [&](ByteView message) -> Result<void> {
        auto isWhole = decoder.add(message);
        return isWhole ? Result<void> {} : isWhole.error();
    });
    if (!taken)
        std::abort();
    Bytes made;
    for (const FileSegment& segment : content) {
        ByteView bytes = segment.isCopy ? old.subspan(segment.offset, segment.length) : ByteView(segment.bytes);
        made.insert(made.end(), bytes.begin(), bytes.end());
    }
    return made;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    const TagChanges changes = changesFor(data[0]);
    ByteView old(data + 1, size - 1);
    TagEdit edit(changes, "a.mp3");
    auto plan = edit.plan(MemorySource(old));
    if (!plan || !*plan)
        return 0;
    const Bytes made = madeOf(old, **plan);
    if (!edit.check(MemorySource(made)))
        return 0;
    TagEdit again(changes, "a.mp3");
    if (!again.plan(MemorySource(made)))
        std::abort();
    return 0;
}
