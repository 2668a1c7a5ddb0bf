// What a program that uses TagLib would print of songs: the common tags and what is known of the sound, a line a file.
// Usage: bench_taglib_reader FILE...

#include <cstdio>
#include <taglib/fileref.h>
#include <taglib/tag.h>

int main(int count, char** names)
{
    for (int i = 1; i < count; ++i) {
        TagLib::FileRef file(names[i]);
        if (file.isNull())
            continue;
        const TagLib::Tag& tag = *file.tag();
        const TagLib::AudioProperties& sound = *file.audioProperties();
        std::printf("%s\t%s\t%s\t%s\t%s\t%u\t%u\t%d\t%d\t%d\t%d\n", names[i], tag.title().toCString(true),
            tag.artist().toCString(true), tag.album().toCString(true), tag.genre().toCString(true), tag.year(),
            tag.track(), sound.lengthInMilliseconds(), sound.bitrate(), sound.sampleRate(), sound.channels());
    }
}
