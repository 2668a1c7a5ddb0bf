// tag_updater FILE KEY=VALUE...: one update through the tag updater's root object, in this process, for the scripts
// that kill it and make its system calls fail. Keys are the columns' names ("Title=x", "TrackNo=3"); "AlbumArt=@FILE"
// is a file's bytes, "KEY=null" the null object. Prints the answer.
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/tags/MediaTag.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string_view>

namespace {

mv::Value valueOf(std::string_view key, std::string_view text)
{
    if (text == "null")
        return mv::NullObject();
    if (text.starts_with('@')) {
        // Not by the calls that the interposer makes fail: those are the update's.
        std::ifstream file(std::string(text.substr(1)), std::ios::binary);
        return mv::Bytes { std::istreambuf_iterator<char>(file), {} };
    }
    if (key == mv::MediaDBMusicColumnTrackNo || key == mv::MediaDBMusicColumnDiscNo)
        return std::stoi(std::string(text));
    return text;
}

} // namespace

int main(int count, char** arguments)
{
    if (count < 2)
        return 2;
    mv::Path file(arguments[1]);
    bool isMp4 = file.pathExtension() == "m4a";
    mv::Record record { { mv::MediaDBCommonColumnMediaType, isMp4 ? mv::MVMediaTypeM4A : mv::MVMediaTypeMP3 } };
    for (int i = 2; i < count; ++i) {
        std::string_view pair = arguments[i];
        std::string_view key = pair.substr(0, pair.find('='));
        record.set(key, valueOf(key, pair.substr(key.size() + 1)));
    }
    std::puts(mv::MediaTag().updateTagWithDictionary(*mv::EditableFile::at(file), record) ? "true" : "false");
    return 0;
}
