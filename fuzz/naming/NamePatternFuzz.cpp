// Any pattern with any values: what comes out is a path below the folder, of names that every file system takes.
#include "Base/Core/Bytes.h"
#include "Base/Core/Text.h"
#include "cli/naming/FileName.h"
#include "cli/naming/NameFields.h"

#include <algorithm>
#include <cstdlib>

using namespace mv;
using namespace mv::cli;

namespace {

void check(bool holds)
{
    if (!holds)
        std::abort();
}

void checkPath(std::string_view path, std::size_t separators)
{
    check(isValidUtf8(path) && path.size() <= MaxRelativePathBytes);
    std::size_t names = 0;
    for (std::size_t begin = 0; begin <= path.size(); ++names) {
        std::size_t end = std::min(path.find('/', begin), path.size());
        std::string_view name = path.substr(begin, end - begin);
        check(!name.empty() && name.size() <= MaxNameBytes && name != "." && name != "..");
        for (char letter : name)
            check(static_cast<unsigned char>(letter) >= 0x20 && letter != 0x7f);
        begin = end + 1;
    }
    check(names == separators + 1);
}

} // namespace

// The pattern ends at the first line; every field has the rest as its value.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string_view input = charsOf(ByteView(data, size));
    std::size_t line = std::min(input.find('\n'), input.size());
    auto pattern = NamePattern::parse(input.substr(0, line), checkNameField);
    if (!pattern)
        return 0;
    std::string value(input.substr(std::min(line + 1, input.size())));
    auto pieces = pattern->fill([&](std::string_view) { return value; });
    if (!pieces)
        return 0;
    std::size_t separators = 0;
    for (const NamePiece& piece : *pieces) {
        if (!piece.isValue)
            separators += static_cast<std::size_t>(std::count(piece.text.begin(), piece.text.end(), '/'));
    }
    for (NameRules rules : { NameRules::Here, NameRules::Portable }) {
        if (auto path = relativePathOf(*pieces, "mp3", rules))
            checkPath(*path, separators);
    }
    return 0;
}
