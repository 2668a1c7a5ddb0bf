#include "tests/service/tagedit/EditedBytes.h"

namespace mv::test {

std::string edited(std::string_view file, const TagChanges& changes)
{
    TagEdit edit(changes, "name.mp3");
    auto plan = edit.plan(MemorySource(bytesOf(file)));
    if (!plan)
        return "error: " + plan.error().text;
    if (!*plan)
        return std::string(file);
    std::string made;
    for (const FileSegment& segment : **plan)
        made += segment.isCopy ? file.substr(segment.offset, segment.length) : charsOf(segment.bytes);
    auto checked = edit.check(MemorySource(bytesOf(made)));
    return checked ? made : "error: " + checked.error().text;
}

std::string littleEndian(std::uint32_t value)
{
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(value >> shift & 0xFF);
    return bytes;
}

} // namespace mv::test
