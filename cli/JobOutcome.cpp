#include "cli/JobOutcome.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "client/MediaInfoClient.h"
#include "service/include/MVAudioEncoderBase.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

struct Sentence {
    std::int32_t code;
    const char* text;
};

constexpr std::array kEncoderErrors {
    Sentence { MVAudioEncoderErrorInput, "the input is no audio file that can be decoded" },
    Sentence { MVAudioEncoderErrorParameters, "the encoder does not take these parameters" },
    Sentence { MVAudioEncoderErrorOutput, "the output cannot be opened for writing" },
    Sentence { MVAudioEncoderErrorTagSize, "a tag is larger than the encoder's buffer" },
    Sentence { MVAudioEncoderErrorWrite, "the output cannot be written; is the disk full?" },
    Sentence { MVAudioEncoderErrorEncoder, "the encoder failed" },
    Sentence { MVAudioEncoderErrorBuffer, "the encoder's output buffer was too small" },
};

constexpr std::array kExporterErrors {
    Sentence { -1, "cancelled" },
    Sentence { -34, "the disk is full" },
    Sentence { -36, "reading or writing failed" },
    Sentence { -39, "the input ends too early" },
    Sentence { -40, "the file cannot be positioned" },
    Sentence { -43, "there is no such file or folder" },
    Sentence { -50, "the input cannot be opened, or input and output are the same file" },
    Sentence { -54, "permission denied" },
    Sentence { -128, "cancelled" },
    Sentence { -2048, "the input is no movie that can be read" },
    Sentence { -8961, "the movie's streams do not fit into an MPEG-4 file" },
    Sentence { static_cast<std::int32_t>(fourCC("typ?")), "the input is of no known type" },
    Sentence { static_cast<std::int32_t>(fourCC("fmt?")), "the format cannot be read or written" },
    Sentence { static_cast<std::int32_t>(fourCC("dta?")), "the file is damaged" },
    Sentence { static_cast<std::int32_t>(fourCC("wht?")), "something unknown went wrong" },
    Sentence { static_cast<std::int32_t>(fourCC("prm?")), "permission denied" },
};

/// A code that reads as four characters, else its number.
std::string codeText(std::int32_t code)
{
    auto bits = static_cast<std::uint32_t>(code);
    for (int shift = 0; shift < 32; shift += 8) {
        std::uint32_t byte = bits >> shift & 0xff;
        if (byte < 0x20 || byte > 0x7e)
            return std::to_string(code);
    }
    return "'" + fourCharacterText(bits) + "'";
}

template <std::size_t Count>
std::string sentence(const std::array<Sentence, Count>& sentences, std::int32_t code, const char* otherwise)
{
    auto found
        = std::find_if(sentences.begin(), sentences.end(), [&](const Sentence& one) { return one.code == code; });
    return std::string(found == sentences.end() ? otherwise : found->text) + " (code " + codeText(code) + ")";
}

} // namespace

std::string encoderErrorText(std::int32_t code) { return sentence(kEncoderErrors, code, "encoding failed"); }

std::string exporterErrorText(std::int32_t code) { return sentence(kExporterErrors, code, "the export failed"); }

double playLength(ServiceBus& bus, const Path& path)
{
    auto record = describeFile(bus, path);
    if (!record || !*record)
        return 0;
    return static_cast<double>((*record)->integer(MediaDBMusicColumnPlayLength).value_or(0));
}

} // namespace mv::cli
