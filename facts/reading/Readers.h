#pragma once

#include "Base/Core/Result.h"
#include "facts/Facts.h"
#include "facts/reading/ContentType.h"
#include "facts/reading/Describe.h"
#include "facts/reading/TagPictures.h"
#include "system/ByteSource.h"

#include <string_view>

namespace mv {

/// What each reader of a family of files gets, and what it fills. A reader sets the kind where that is not "audio", and
/// the type where it knows better than the first bytes.
struct Reading {
    const SharedSource& shared;
    const ByteSource& source; ///< the same bytes, the first of them at hand
    std::string_view name;
    ContentType type;
    FactsWish wish;
    Facts& facts;
    TagSink& tags;
};

using Reader = Result<void>(Reading&);

Reader readMpegAudio;
Reader readFlac;
Reader readOgg;
Reader readWave;
Reader readAiff;
Reader readIsoMedia;
Reader readAsf;
Reader readMonkey;
Reader readWavPack;
Reader readMusepack;
Reader readTrueAudio;
Reader readByFfmpeg;
Reader readPicture;

} // namespace mv
