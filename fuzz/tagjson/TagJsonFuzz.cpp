// Any text as a file and its tags: what is read of it is what a tag can hold.
#include "Base/Core/Bytes.h"
#include "Base/Core/Text.h"
#include "cli/TagJson.h"
#include "service/job/TagChanges.h"

#include <cstdlib>

using namespace mv;

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

void checkText(const std::string& text) { check(isValidUtf8(text) && text.find('\0') == std::string::npos); }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto tags = cli::jsonTagsOf(charsOf(ByteView(data, size)));
    if (!tags)
        return 0;
    check(!tags->file.empty());
    for (const auto& [key, value] : tags->tags) {
        check(tagKeyOf(key).has_value() || key == FrontCoverTag);
        if (const auto* text = std::get_if<std::string>(&value))
            checkText(*text);
        if (const auto* number = std::get_if<std::int32_t>(&value))
            check(*number >= 0 && *number <= MaxTagNumber);
        if (const auto* texts = std::get_if<std::vector<std::string>>(&value)) {
            for (const std::string& one : *texts)
                checkText(one);
        }
    }
    return 0;
}
