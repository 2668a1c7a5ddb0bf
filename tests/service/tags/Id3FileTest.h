#pragma once

#include "Base/Media/MediaDB.h"
#include "service/tags/UpdateID3Tag.h"
#include "tests/service/tags/TagFiles.h"

#include <gtest/gtest.h>

namespace mv {

/// MP3 files made byte by byte, updated by the ID3 writer, and what mutagen finds in them then.
class Id3FileTest : public testing::Test {
protected:
    /// A file of a tag, audio and what follows.
    std::string file(const Bytes& tag, const Bytes& after = {})
    {
        return m_folder.write("song.mp3", test::joined({ tag, test::mp3Audio(), after }));
    }
    /// A file with every frame that the rows speak of, and some more.
    std::string fullFile()
    {
        return file(test::id3Tag(3,
            { { "TIT2", test::latin1("old title") }, { "TALB", test::latin1("old album") },
                { "TPE1", test::latin1("old artist") }, { "TPE2", test::latin1("old album artist") },
                { "TPE3", test::latin1("old conductor") }, { "TCOM", test::latin1("old composer") },
                { "COMM", test::latin1("eng") + test::latin1("old comment") },
                { "COMM", test::latin1("eng") + "iTunNORM" + test::latin1(" 000") }, { "TCON", test::latin1("(9)") },
                { "TRCK", test::latin1("3/12") },
                { "APIC", test::latin1("image/png") + test::latin1("\3") + test::latin1("old picture") },
                { "TYER", test::latin1("1999") }, { "TXXX", test::latin1("mood") + test::latin1("calm") },
                { "PRIV", "owner" + test::latin1("\1\2\3") } },
            100));
    }
    std::vector<std::string> update(const std::string& path, const Record& record)
    {
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(path), record));
        return test::mutagenLines("id3", path);
    }

    test::ScratchFolder m_folder;
};

} // namespace mv
