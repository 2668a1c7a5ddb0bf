// Makes an MP3 file of any sound and gives it a title, until Control-C: mivo-to-mp3 INPUT OUTPUT.mp3 [TITLE]

#include <csignal>
#include <cstdio>
#include <mivo/mivo.h>

namespace {

volatile std::sig_atomic_t s_interrupted = 0;

bool show(int percent)
{
    std::printf("\r%d%%", percent);
    std::fflush(stdout);
    return !s_interrupted;
}

int encode(const char* input, const char* output, const char* title)
{
    mivo::Client client;
    mivo::Record attributes {
        { mivo::keys::encoder::Bitrate, 128'000 },
        { mivo::keys::encoder::Quality, 2 },
    };
    if (client.encode(input, output, attributes, show) == mivo::JobEnd::Cancelled) {
        std::printf("\rcancelled\n");
        return 130;
    }
    std::printf("\rdone\n");
    if (title)
        client.updateTags(output, { { mivo::keys::Title, title } });
    return 0;
}

} // namespace

int main(int count, char** words)
{
    if (count < 3) {
        std::fprintf(stderr, "mivo-to-mp3 INPUT OUTPUT.mp3 [TITLE]\n");
        return 2;
    }
    std::signal(SIGINT, [](int) { s_interrupted = 1; });
    try {
        return encode(words[1], words[2], count > 3 ? words[3] : nullptr);
    } catch (const mivo::Error& error) {
        std::fprintf(stderr, "\nmivo-to-mp3: %s\n", error.what());
        return 1;
    }
}
