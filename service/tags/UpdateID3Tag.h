#pragma once

#include "service/include/MVMediaTagBase.h"

namespace mv {

/// Rewrites the ID3v2 tag at the front of a file and reads the two podcast frames. No state: safe on several threads,
/// and two updates of one file take turns.
///
/// The tag that is written is version 2.3 without unsynchronisation. Frames that the record does not speak of are
/// carried over; audio and the tags at the end of the file (ID3v1, Lyrics3, APE, appended ID3v2) keep their bytes.
class UpdateID3Tag final : public MVMediaTagBase {
public:
    /// Both texts, one of them, an empty dictionary (neither body can be read), or nothing when a frame is
    /// missing. Deliberate: the places of the frame bodies are computed as if the stored frames followed each other
    /// right behind a 10-byte header, so an extended header shifts them; and an encoding byte other than 0 stays in the
    /// text. Bodies above 1,023 bytes and those that are not UTF-8 leave their key out.
    std::optional<Record> podcastInfo(const OpenedFile& file) override;

    /// False when there is no such file; else true, whether or not the tag could be written: why not is
    /// in the log, and the file is then as it was. A picture with which the tag would be larger than MaxTagBytes is
    /// left out, with a log line. Raises NSInvalidArgumentException for values of a wrong kind.
    bool updateTagWithDictionary(EditableFile& file, const Record& record) override;
};

} // namespace mv
