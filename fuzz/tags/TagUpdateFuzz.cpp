// Updates of any bytes: no crash, no litter, the file stays, and a second update of an ID3 tag writes nothing.
#include "Base/Core/NSLog.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/MediaTag.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/stat.h>

namespace {

using namespace mv;

/// A folder of memory, gone at the end of the program.
struct MemoryFolder {
    MemoryFolder()
    {
        if (!mkdtemp(path.data()))
            abort();
    }
    ~MemoryFolder() { std::filesystem::remove_all(path); }
    std::string path = "/dev/shm/fuzz-tags-XXXXXX";
};

/// One file of that folder, the same for every run.
std::string scratchFile(const char* name)
{
    static const MemoryFolder folder;
    return folder.path + "/" + name;
}

void write(const std::string& path, const std::uint8_t* data, std::size_t size)
{
    std::filesystem::remove(path);
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

ino_t identity(const std::string& path)
{
    struct stat facts { };
    if (stat(path.c_str(), &facts) != 0)
        abort(); // the file is gone
    return facts.st_ino;
}

Record recordFor(std::uint8_t choice, std::int32_t mediaType)
{
    Record record { { MediaDBCommonColumnMediaType, mediaType }, { MediaDBMusicColumnTitle, "T\u00EFtle" } };
    if (choice & 1)
        record.set(MediaDBMusicColumnTrackNo, choice * 3);
    if (choice & 2)
        record.set(MediaDBMusicColumnGenre, choice & 4 ? "Rock" : "Other genre");
    if (choice & 8)
        record.set(MediaDBMusicColumnAlbumArt, choice & 16 ? Value(NullObject()) : Value(Bytes(5000, choice)));
    if (choice & 32)
        record.set(MediaDBCommonColumnReservedText, std::string(choice * 20, 'c'));
    return record;
}

void updateTwice(const char* name, const Record& record, const std::uint8_t* data, std::size_t size)
{
    std::string path = scratchFile(name);
    write(path, data, size);
    MediaTag().updateTagWithDictionary(*EditableFile::at(path), record);
    MediaTag().podcastInfo(OpenedFile::at(path));
    ino_t once = identity(path);
    MediaTag().updateTagWithDictionary(*EditableFile::at(path), record);
    // Of MPEG-4 covers each update without a picture takes one.
    bool settles = record.integer(MediaDBCommonColumnMediaType) == MVMediaTypeMP3;
    if (settles && identity(path) != once)
        abort(); // the second update found something to change
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(path).parent_path(), ignored))
        if (entry.path().filename().string().starts_with(".mivo"))
            abort(); // litter
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setLogSink([](std::string_view) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    updateTwice("song.mp3", recordFor(data[0], MVMediaTypeMP3), data + 1, size - 1);
    updateTwice("song.m4a", recordFor(data[0], MVMediaTypeM4A), data + 1, size - 1);
    return 0;
}
