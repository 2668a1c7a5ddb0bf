#include "tests/integration/Attempt.h"

#include <algorithm>
#include <filesystem>

namespace mv::test {

namespace fs = std::filesystem;

namespace {

Operation find(std::string_view name)
{
    return *std::find_if(
        operations().begin(), operations().end(), [&](const Operation& each) { return each.name == name; });
}

} // namespace

Operation operationOf(std::string_view name)
{
    Operation operation = find(name);
    if (name == "podcast")
        operation.content = podcastSong;
    if (name == "export-from") {
        operation.content = find("movie").content;
        operation.extension = ".m4a";
    }
    return operation;
}

Attempt::Attempt(std::string_view operation, const std::string& name)
    : m_operation(operationOf(operation))
    , m_named(m_folder.write("named/" + name + m_operation.extension, m_operation.content()))
    , m_good(m_folder.write("good/good" + std::string(m_operation.extension), m_operation.content()))
{
}

std::vector<std::string> Attempt::leftBeside() const
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(m_folder.file("named"))) {
        if (entry.path() != m_named)
            names.push_back(entry.path().filename());
    }
    return names;
}

std::string Attempt::perform(BusClient& client, const std::string& path) const
{
    auto answer = client.call(m_operation.service, "/", m_operation.interface, m_operation.member,
        [&](WireWriter& out) { m_operation.arguments(out, path, fs::path(path).parent_path() / "output.m4a"); });
    return answer.ok() ? m_operation.value(answer.reader()) : answer.error + ": " + answer.text;
}

} // namespace mv::test
