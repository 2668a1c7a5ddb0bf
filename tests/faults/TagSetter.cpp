// tag_setter FILE KEY=VALUE...: one change of a file's tags as SetTags makes it, in this process, for the scripts that
// kill it and look at what it made. Keys are those of facts ("xesam:title=x"), a key that comes again has several
// values, "KEY=" takes it out, and "mivo:frontCover=@FILE" is a file's bytes. Prints "done", "unchanged", or the
// reason.
#include "service/tagedit/TagEdit.h"
#include "system/EditableFile.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>

namespace {

/// False for a key that is not written.
bool add(mv::TagChanges& changes, std::string_view key, std::string_view value)
{
    if (key == mv::FrontCoverKey) {
        std::ifstream file(std::string(value.substr(value.empty() ? 0 : 1)), std::ios::binary);
        changes.frontCover = mv::Bytes { std::istreambuf_iterator<char>(file), {} };
        return true;
    }
    auto tag = mv::tagKeyOf(key);
    if (!tag)
        return false;
    if (!changes[*tag])
        changes[*tag].emplace();
    if (!value.empty())
        changes[*tag]->emplace_back(value);
    return true;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2)
        return 2;
    mv::TagChanges changes;
    for (int i = 2; i < count; ++i) {
        std::string_view pair = arguments[i];
        std::string_view key = pair.substr(0, pair.find('='));
        if (key.size() == pair.size() || !add(changes, key, pair.substr(key.size() + 1)))
            return 2;
    }
    mv::Path path(arguments[1]);
    mv::TagEdit edit(changes, std::string(path.lastPathComponent()));
    auto outcome = mv::EditableFile::at(path)->replace([&](const mv::InputFile& current) { return edit.plan(current); },
        [&](const mv::InputFile& made) { return edit.check(made); });
    if (!outcome)
        std::printf("%s: %s\n", outcome.error().kind == mv::Error::Kind::Unsupported ? "unsupported" : "failed",
            outcome.error().text.c_str());
    else
        std::puts(*outcome == mv::FileReplacement::Outcome::Replaced ? "done" : "unchanged");
    return 0;
}
