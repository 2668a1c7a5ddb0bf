#include "client/ResultCodes.h"

#include "Base/Core/OSStatus.h"
#include "Base/Core/Text.h"
#include "service/include/MVAudioEncoderBase.h"
#include "service/include/MVMP4ExporterBase.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

constexpr std::array EncoderCodes {
    ResultCode { MVAudioEncoderErrorInput, "the input is no audio file that can be decoded" },
    ResultCode { MVAudioEncoderErrorParameters, "the encoder does not take these parameters" },
    ResultCode { MVAudioEncoderErrorOutput, "the output cannot be opened for writing" },
    ResultCode { MVAudioEncoderErrorTagSize, "a tag is larger than the encoder's buffer" },
    ResultCode { MVAudioEncoderErrorWrite, "the output cannot be written; is the disk full?" },
    ResultCode { MVAudioEncoderErrorEncoder, "the encoder failed" },
    ResultCode { MVAudioEncoderErrorBuffer, "the encoder's output buffer was too small" },
};

constexpr std::array ExporterCodes {
    ResultCode { MVMP4ExporterCancelled, "cancelled" },
    ResultCode { userCanceledErr, "cancelled" },
    ResultCode { dskFulErr, "the disk is full" },
    ResultCode { ioErr, "reading or writing failed" },
    ResultCode { fnfErr, "there is no such file or folder" },
    ResultCode { paramErr, "the input cannot be opened, or input and output are the same file" },
    ResultCode { permErr, "permission denied" },
    ResultCode { memFullErr, "the input asks for more memory than it may have" },
    ResultCode { invalidMovie, "the movie is damaged and cannot be read to its end" },
    ResultCode { noMovieFound, "the input is no movie that can be read" },
    ResultCode { noExportProcAvailableErr, "the input holds what an MPEG-4 file cannot; nothing is encoded anew" },
    ResultCode { kAudioFileUnsupportedFileTypeError, "the input is of no known type" },
    ResultCode { kAudioFileUnsupportedDataFormatError, "the format cannot be read or written" },
    ResultCode { kAudioFileInvalidFileError, "the file is damaged" },
    ResultCode { kAudioFilePermissionsError, "permission denied" },
    ResultCode { kExtAudioFileError_InvalidProperty, "the audio code was asked for what it does not know" },
    ResultCode { kExtAudioFileError_InvalidPropertySize, "the audio code was asked in a wrong way" },
    ResultCode {
        kExtAudioFileError_NonPCMClientFormat, "the audio code was given sound in a form that it does not take" },
    ResultCode { kExtAudioFileError_InvalidOperationOrder, "the audio code was asked at the wrong time" },
    ResultCode { kAudioConverterErr_PropertyNotSupported, "the AAC encoder does not take that setting" },
    ResultCode { kAudioConverterErr_BadPropertySizeError, "the AAC encoder was asked in a wrong way" },
    ResultCode {
        kExtAudioFileError_InvalidDataFormat, "the input's sound cannot be put into the form that is encoded" },
};

/// A code that reads as four characters, else its number.
std::string codeText(std::int32_t code)
{
    std::string characters = fourCharacterText(static_cast<std::uint32_t>(code));
    bool readable
        = std::all_of(characters.begin(), characters.end(), [](char one) { return one >= 0x20 && one <= 0x7e; });
    return readable ? "'" + characters + "'" : std::to_string(code);
}

} // namespace

std::span<const ResultCode> encoderCodes() { return EncoderCodes; }

std::span<const ResultCode> exporterCodes() { return ExporterCodes; }

std::string sentenceForCode(std::span<const ResultCode> codes, std::int32_t code)
{
    auto found = std::find_if(codes.begin(), codes.end(), [&](const ResultCode& one) { return one.code == code; });
    return std::string(found == codes.end() ? "the job failed" : found->sentence) + " (code " + codeText(code) + ")";
}

} // namespace mv
