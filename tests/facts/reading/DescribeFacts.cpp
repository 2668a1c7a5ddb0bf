// For people at work on this: the facts of files, a line each, tabs between file, key and value. Not installed.
//
//   describe_facts [-p] [-b TURNS] FILE...
//
// -p lists the pictures too; -b describes all files so often, prints nothing, and says how long one takes.
#include "facts/FactErrors.h"
#include "facts/reading/Describe.h"
#include "tests/facts/reading/FactsText.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using namespace mv;

Result<Facts> factsOf(const char* path, const FactsWish& wish)
{
    const char* slash = std::strrchr(path, '/');
    return describe(OpenedFile::at(Path(path)), slash ? slash + 1 : path, wish);
}

void print(const char* path, const Result<Facts>& facts)
{
    if (!facts) {
        std::string name(describeErrorName(facts.error().kind));
        std::printf("%s\tmivo:error\t%s (%s)\n", path, name.c_str(), facts.error().text.c_str());
        return;
    }
    for (const auto& [key, value] : facts->entries()) {
        std::string text = test::textOf(value);
        for (char& c : text)
            c = c == '\n' || c == '\t' || c == '\r' ? ' ' : c;
        std::printf("%s\t%.*s\t%s\n", path, static_cast<int>(key.size()), key.data(), text.c_str());
    }
    for (const FactPicture& picture : facts->pictures)
        std::printf("%s\tpicture\t%u %s %zu bytes %s\n", path, picture.type, picture.mimeType.c_str(),
            picture.data.size(), picture.description.c_str());
}

void measure(const std::vector<const char*>& files, int turns, const FactsWish& wish)
{
    auto begin = std::chrono::steady_clock::now();
    std::size_t described = 0;
    for (int turn = 0; turn < turns; ++turn) {
        for (const char* file : files)
            described += factsOf(file, wish).ok();
    }
    std::chrono::duration<double, std::micro> took = std::chrono::steady_clock::now() - begin;
    std::printf("%zu of %zu described, %.1f us each\n", described / static_cast<std::size_t>(turns), files.size(),
        took.count() / turns / static_cast<double>(files.size()));
}

} // namespace

int main(int count, char** arguments)
{
    FactsWish wish;
    int turns = 0;
    std::vector<const char*> files;
    for (int i = 1; i < count; ++i) {
        if (std::strcmp(arguments[i], "-p") == 0)
            wish.pictures = true;
        else if (std::strcmp(arguments[i], "-b") == 0 && i + 1 < count)
            turns = std::atoi(arguments[++i]);
        else
            files.push_back(arguments[i]);
    }
    if (turns > 0 && !files.empty())
        measure(files, turns, wish);
    else
        for (const char* file : files)
            print(file, factsOf(file, wish));
    return files.empty() ? 2 : 0;
}
