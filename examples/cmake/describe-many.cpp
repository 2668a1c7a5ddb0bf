// Prints artist, title and length of songs, thousands a second, each as soon as it is known: mivo-songs FILE...

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <mivo/mivo.h>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fact = mivo::keys::fact;

// Enough calls to keep the service busy, and few enough that the first lines come at once.
constexpr std::size_t FilesOfACall = 64;
constexpr std::size_t CallsAtOnce = 8;

class Songs {
public:
    explicit Songs(std::vector<std::string> paths)
        : m_paths(std::move(paths))
    {
    }

    bool print()
    {
        for (std::size_t i = 0; i < CallsAtOnce; ++i)
            callNext();
        m_client.finish(); // a program with a main loop watches m_client.fd() and calls m_client.dispatch() instead
        return m_all;
    }

private:
    void callNext()
    {
        auto begin = m_paths.begin() + static_cast<std::ptrdiff_t>(m_next);
        std::vector<std::string> some(
            begin, begin + static_cast<std::ptrdiff_t>(std::min(FilesOfACall, m_paths.size() - m_next)));
        if (some.empty())
            return;
        m_next += some.size();
        m_client.describeMany(some).then([this, some](mivo::Pending<std::vector<mivo::Described>> ready) {
            callNext();
            auto files = ready.get(); // what it throws comes out of finish()
            for (std::size_t i = 0; i < files.size(); ++i)
                show(some[i], files[i]);
        });
    }

    void show(const std::string& path, const mivo::Described& file)
    {
        if (const mivo::Error* error = file.error()) {
            std::fprintf(stderr, "%s: %s\n", path.c_str(), error->what());
            m_all = false;
            return;
        }
        const mivo::Record& facts = file.facts();
        long long seconds = facts[fact::Length].integer() / 1'000'000;
        std::printf("%s\t%s\t%lld:%02lld\n", facts[fact::Artist].text().c_str(), facts[fact::Title].text().c_str(),
            seconds / 60, seconds % 60);
    }

    mivo::MediaClient m_client;
    const std::vector<std::string> m_paths;
    std::size_t m_next = 0;
    bool m_all = true;
};

} // namespace

int main(int count, char** words)
{
    try {
        return Songs({ words + 1, words + count }).print() ? 0 : 1;
    } catch (const mivo::Error& error) {
        std::fprintf(stderr, "mivo-songs: %s\n", error.what());
        return 2;
    }
}
