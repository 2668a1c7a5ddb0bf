#include "service/media1/TagWriter.h"
#include "Base/Media/TagLimits.h"
#include "system/SystemError.h"
#include "tests/support/Scratch.h"

#include <cerrno>
#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(TagWriter, ErrorsOfTheSystemHaveTheNamesThatCallersKnow)
{
    for (int code : { ENOSPC, EDQUOT, EFBIG })
        EXPECT_EQ(tagErrorKind(systemError(code, "write")), MediaErrorKind::NoSpace) << code;
    for (int code : { EACCES, EPERM, EROFS })
        EXPECT_EQ(tagErrorKind(systemError(code, "open")), MediaErrorKind::AccessDenied) << code;
    EXPECT_EQ(tagErrorKind(systemError(ENOENT, "open")), MediaErrorKind::NotFound);
    EXPECT_EQ(tagErrorKind(systemError(EIO, "read")), MediaErrorKind::Failed);
}

TEST(TagWriter, WhatAPlanFailsWithHasANameToo)
{
    EXPECT_EQ(tagErrorKind({ Error::Kind::Unsupported, "" }), MediaErrorKind::Unsupported);
    EXPECT_EQ(tagErrorKind({ Error::Kind::Limit, "" }), MediaErrorKind::TooLarge);
    EXPECT_EQ(tagErrorKind({ Error::Kind::Format, "" }), MediaErrorKind::Failed);
    EXPECT_EQ(tagErrorKind({ Error::Kind::State, "" }), MediaErrorKind::Failed) << "a lock that somebody holds";
}

TEST(TagWriter, FormatsAreThoseOfTheContract)
{
    for (const char* type : { "audio/mpeg", "audio/mp4", "video/mp4", "audio/flac", "audio/x-vorbis+ogg",
             "audio/x-opus+ogg", "audio/x-wav", "audio/x-aiff" })
        EXPECT_TRUE(TagWriter::isWritable(type)) << type;
    for (const char* type :
        { "video/quicktime", "video/x-matroska", "audio/x-ms-wma", "image/jpeg", "audio/x-speex+ogg" })
        EXPECT_FALSE(TagWriter::isWritable(type)) << type;
}

TEST(TagWriter, ChangesThatNoFormatHoldsNeedNoWorker)
{
    test::ScratchFolder folder;
    const std::string path = folder.write("song.mp3", "sound");
    WorkerPool pool("/there/is/none");
    TagWriter writer(pool);
    TagChanges changes;
    changes[TagKey::Title] = { std::string(MaxTagBytes, 'x') };
    auto describe = [&](const OpenedFile& file) {
        EXPECT_EQ(file.path().text(), path);
        Facts facts;
        facts.set(fact::MimeType, std::string("audio/mpeg"));
        return facts;
    };
    try {
        writer.write(MediaInput::at(path), changes, {}, describe);
        FAIL() << "was written";
    } catch (const MediaError& error) {
        EXPECT_EQ(error.kind(), MediaErrorKind::TooLarge) << error.text();
    }
}

} // namespace
} // namespace mv
