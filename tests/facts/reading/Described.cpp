#include "tests/facts/reading/Described.h"

#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <filesystem>

namespace mv::test {

Result<Facts> describedBytes(std::string_view content, std::string_view name, const FactsWish& wish)
{
    FileAttributes attributes { .size = static_cast<std::int64_t>(content.size()), .isRegularFile = true };
    ByteView bytes = bytesOf(content);
    OpenedFile file(Path(), attributes, sourceOfBytes(Bytes(bytes.begin(), bytes.end())));
    return describe(file, name, wish);
}

Result<Facts> describedCorpusFile(const std::string& name, const FactsWish& wish)
{
    std::string path = corpusFile(name);
    return describe(OpenedFile::at(Path(path)), std::filesystem::path(path).filename().string(), wish);
}

std::vector<std::string> allCorpusFiles()
{
    std::vector<std::string> names;
    for (const char* folder : { "audio", "bad", "image", "mp3", "mp4", "video" }) {
        for (std::string& name : corpusFiles(folder))
            names.push_back(std::move(name));
    }
    return names;
}

std::string corpusQuoted(const std::string& name) { return shellQuoted(corpusFile(name)); }

} // namespace mv::test
