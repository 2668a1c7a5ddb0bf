// Lists files with what the media service knows of them: mivo-list FILE...

#include <cstdio>
#include <mivo/mivo.h>
#include <string>

namespace {

std::string shown(const mivo::Value& value)
{
    using Kind = mivo::Value::Kind;
    switch (value.kind()) {
    case Kind::Text:
        return value.text();
    case Kind::Boolean:
        return value.boolean() ? "yes" : "no";
    case Kind::Integer:
        return std::to_string(value.integer());
    case Kind::Real:
        return std::to_string(value.real());
    case Kind::Date:
        return std::to_string(value.date().microseconds / 1'000'000) + " s since 1970";
    case Kind::Data:
        return std::to_string(value.data().size()) + " bytes";
    default:
        return "-";
    }
}

bool list(mivo::Client& client, const char* path)
{
    auto record = client.describe(path);
    if (!record) {
        std::fprintf(stderr, "%s: nothing is known of this file\n", path);
        return false;
    }
    std::printf("%s\n", path);
    for (const auto& [key, value] : *record)
        std::printf("  %s: %s\n", key.c_str(), shown(value).c_str());
    return true;
}

} // namespace

int main(int count, char** words)
{
    try {
        mivo::Client client;
        bool all = true;
        for (int i = 1; i < count; ++i)
            all = list(client, words[i]) && all;
        return all ? 0 : 1;
    } catch (const mivo::Error& error) {
        std::fprintf(stderr, "mivo-list: %s\n", error.what());
        return 2;
    }
}
