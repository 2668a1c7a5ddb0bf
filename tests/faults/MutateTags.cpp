// mutate_tags COUNT SEED FILE...: COUNT times a copy of one of the files with some bytes changed is updated, each in a
// process of its own. Counts crashes, and files that ffprobe could read before the update and cannot afterwards. The
// exit status is 1 when there was any. Takes minutes; run by hand.
#include "Base/Core/NSLog.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/MediaTag.h"

extern "C" {
#include <libavformat/avformat.h>
}
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace mv;

struct Counts {
    int crashes = 0;
    int readableBefore = 0;
    int broken = 0;
};

/// Changes, cuts out or repeats bytes, mostly near the front, where tags and tables are.
void mutate(Bytes& bytes, std::mt19937_64& random)
{
    int changes = 1 + static_cast<int>(random() % 8);
    for (int i = 0; i < changes && !bytes.empty(); ++i) {
        std::size_t reach = random() % 4 ? std::min<std::size_t>(bytes.size(), 4096) : bytes.size();
        std::size_t place = random() % reach;
        std::size_t length = std::min<std::size_t>(1 + random() % 16, bytes.size() - place);
        auto at = bytes.begin() + static_cast<std::ptrdiff_t>(place);
        switch (random() % 6) {
        case 0:
            bytes.erase(at, at + static_cast<std::ptrdiff_t>(length));
            break;
        case 1: {
            Bytes piece(at, at + static_cast<std::ptrdiff_t>(length));
            bytes.insert(at, piece.begin(), piece.end());
            break;
        }
        case 2:
            *at = random() % 2 ? 0xFF : 0;
            break;
        default:
            *at = static_cast<std::uint8_t>(random());
        }
    }
}

/// Covers do not count: an update may take them out on purpose.
bool isMedia(const AVStream& stream) { return !(stream.disposition & AV_DISPOSITION_ATTACHED_PIC); }

/// Whether ffprobe would find a packet of sound or video: its library, asked in this process.
bool isReadable(const std::string& path)
{
    AVFormatContext* context = nullptr;
    if (avformat_open_input(&context, path.c_str(), nullptr, nullptr) != 0)
        return false;
    AVPacket* packet = av_packet_alloc();
    bool readable = false;
    while (!readable && av_read_frame(context, packet) == 0) {
        readable = isMedia(*context->streams[packet->stream_index]);
        av_packet_unref(packet);
    }
    av_packet_free(&packet);
    avformat_close_input(&context);
    return readable;
}

/// False when the update crashed.
bool update(const std::string& path, std::uint64_t choice)
{
    pid_t child = fork();
    if (child == 0) {
        setLogSink([](std::string_view) {});
        bool isMp4 = path.ends_with("m4a");
        Record record { { MediaDBCommonColumnMediaType, isMp4 ? MVMediaTypeM4A : MVMediaTypeMP3 },
            { MediaDBMusicColumnTitle, std::string(choice % 2000, 't') }, { MediaDBMusicColumnTrackNo, 3 } };
        MediaTag().updateTagWithDictionary(*EditableFile::at(path), record);
        MediaTag().podcastInfo(OpenedFile::at(path));
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 4)
        return 2;
    std::string folder = "/dev/shm/mutate-tags-XXXXXX";
    if (!mkdtemp(folder.data()))
        return 2;
    std::mt19937_64 random(std::strtoull(arguments[2], nullptr, 10));
    av_log_set_level(AV_LOG_QUIET);
    Counts counts;
    int total = std::atoi(arguments[1]);
    for (int i = 0; i < total; ++i) {
        std::string source = arguments[3 + static_cast<int>(random() % static_cast<std::uint64_t>(count - 3))];
        std::ifstream in(source, std::ios::binary);
        Bytes bytes { std::istreambuf_iterator<char>(in), {} };
        mutate(bytes, random);
        bool isMp4 = bytes.size() > 8 && bytes[4] == 'f' && bytes[5] == 't';
        std::string path = folder + (isMp4 ? "/song.m4a" : "/song.mp3");
        std::ofstream(path, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        bool before = isReadable(path);
        bool survived = update(path, random());
        bool after = isReadable(path);
        counts.readableBefore += before;
        counts.crashes += !survived;
        counts.broken += before && !after;
        if (!survived || (before && !after)) {
            std::string kept = folder + "-case-" + std::to_string(i) + path.substr(path.size() - 4);
            std::ofstream(kept, std::ios::binary)
                .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            std::printf("%s: %s of %s\n", survived ? "unreadable afterwards" : "crash", kept.c_str(), source.c_str());
        }
    }
    std::filesystem::remove_all(folder);
    std::printf("mutations: %d updates, %d crashes; %d were readable before, %d of them not afterwards\n", total,
        counts.crashes, counts.readableBefore, counts.broken);
    return counts.crashes || counts.broken ? 1 : 0;
}
