#pragma once

#include "service/include/MVMediaInfoBuilder.h"

namespace mv {

class ByteSource;
class QTKit;

/// Describes MP3 files: texts and cover from the ID3 tags, length and rates from the MPEG audio. Where there is no MPEG
/// audio, length and bit rate come from the movie toolkit. No state between calls.
class MP3Parser final : public MVMediaInfoBuilder {
public:
    MP3Parser() = default;
    /// With a toolkit of the caller's, which outlives the parser.
    explicit MP3Parser(QTKit& toolkit)
        : m_toolkit(&toolkit)
    {
    }

    /// Nothing, and nothing logged, when there is no such file, or when it holds no MPEG audio and no movie either.
    std::optional<Record> build(const OpenedFile& file) override;

private:
    bool readMovieFacts(const OpenedFile& file, Record& record);
    QTKit& toolkit() const;

    QTKit* m_toolkit = nullptr; // null: the shared one, not asked for before it is needed
};

} // namespace mv
