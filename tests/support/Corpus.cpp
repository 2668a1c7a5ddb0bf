#include "tests/support/Corpus.h"
#include "tests/support/Places.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace mv::test {

std::string corpusFolder()
{
    const char* named = std::getenv("MIVO_CORPUS");
    std::filesystem::path folder = named ? named : sourcePath("../shared/corpus");
    return std::filesystem::is_directory(folder) ? folder.lexically_normal().string() : std::string {};
}

std::string corpusFile(const std::string& name) { return corpusFolder() + "/" + name; }

std::vector<std::string> corpusFiles(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(corpusFile(folder)))
        names.push_back(folder + "/" + entry.path().filename().string());
    if (names.empty()) // a loop over nothing would check nothing
        throw std::runtime_error("there is nothing in " + corpusFile(folder));
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> corpusFiles(const std::string& folder, std::size_t part, std::size_t parts)
{
    std::vector<std::string> all = corpusFiles(folder);
    std::vector<std::string> names;
    for (std::size_t i = part; i < all.size(); i += parts)
        names.push_back(all[i]);
    return names;
}

std::vector<ExpectedRow> corpusExpectations()
{
    std::vector<ExpectedRow> rows;
    std::ifstream table(corpusFile("expected.tsv"));
    std::string line;
    std::getline(table, line); // the heading
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        ExpectedRow row;
        std::getline(fields, row.file, '\t');
        std::getline(fields, row.key, '\t');
        std::getline(fields, row.value, '\t');
        std::getline(fields, row.origin, '\t');
        rows.push_back(row);
    }
    return rows;
}

} // namespace mv::test
