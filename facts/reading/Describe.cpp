#include "facts/reading/Describe.h"

#include "facts/FactErrors.h"
#include "facts/reading/ContentType.h"
#include "facts/reading/FrontSource.h"
#include "facts/reading/LegacyText.h"
#include "facts/reading/Readers.h"

#include <array>
#include <new>

namespace mv {

namespace {

struct ReaderOfFamily {
    FileFamily family;
    Reader* read;
};

constexpr std::array Readers {
    ReaderOfFamily { FileFamily::MpegAudio, readMpegAudio },
    ReaderOfFamily { FileFamily::Flac, readFlac },
    ReaderOfFamily { FileFamily::Ogg, readOgg },
    ReaderOfFamily { FileFamily::Wave, readWave },
    ReaderOfFamily { FileFamily::Aiff, readAiff },
    ReaderOfFamily { FileFamily::IsoMedia, readIsoMedia },
    ReaderOfFamily { FileFamily::Asf, readAsf },
    ReaderOfFamily { FileFamily::Monkey, readMonkey },
    ReaderOfFamily { FileFamily::WavPack, readWavPack },
    ReaderOfFamily { FileFamily::Musepack, readMusepack },
    ReaderOfFamily { FileFamily::TrueAudio, readTrueAudio },
    ReaderOfFamily { FileFamily::Matroska, readByFfmpeg },
    ReaderOfFamily { FileFamily::OtherMovie, readByFfmpeg },
};

Reader* readerOf(FileFamily family)
{
    for (const ReaderOfFamily& row : Readers) {
        if (row.family == family)
            return row.read;
    }
    return family == FileFamily::None ? nullptr : readPicture;
}

Result<SharedSource> openedContent(const OpenedFile& file)
{
    if (!file.exists())
        return file.attributes().error();
    if (!file.attributes()->isRegularFile)
        return notRegular(file.attributes()->isDirectory ? "this is a folder" : "this is no regular file");
    return file.content();
}

void setFileFacts(Facts& facts, const OpenedFile& file, const ByteSource& source)
{
    facts.set(fact::Size, source.size());
    facts.set(fact::Modified, file.attributes()->modificationDate.microseconds);
}

Result<Facts> describeContent(
    const OpenedFile& file, const SharedSource& content, std::string_view name, const FactsWish& wish)
{
    FrontSource source(*content);
    ContentType type = contentType(source, name);
    Reader* read = readerOf(type.family);
    if (!read)
        return notMedia("this is no sound, no movie and no picture");
    Facts facts;
    TagSink tags;
    tags.wantsPictures = wish.pictures;
    facts.set(fact::Kind, std::string("audio"));
    Reading reading { content, source, name, type, wish, facts, tags };
    MV_TRY_VOID(read(reading));
    facts.set(fact::MimeType, std::string(reading.type.mimeType));
    setFileFacts(facts, file, source);
    if (*facts.get<std::string>(fact::Kind) != "picture")
        tags.putInto(facts);
    return facts;
}

} // namespace

Result<Facts> describe(const OpenedFile& file, std::string_view name, const FactsWish& wish)
{
    MV_TRY(content, openedContent(file));
    try {
        return describeContent(file, content, name, wish);
    } catch (const std::bad_alloc&) {
        return tooLarge("reading this file takes more memory than there is");
    }
}

void prepareDescribing() { prepareCharsets(); }

} // namespace mv
