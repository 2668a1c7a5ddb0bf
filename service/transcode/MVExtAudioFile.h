#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "service/transcode/AudioFileFunctions.h"

#include <memory>
#include <string>

namespace mv {

/// One open audio file, for reading with decoding or for writing with encoding. The PCM side is meant to be
/// canonicalDataFormat: interleaved 32-bit floats, exchanged as byte buffers of whole frames.
///
/// Nothing raises: the status of the object's latest platform call is in lastError, and a failed call is logged once.
/// Used on one thread at a time. The file is closed at the end of the object's life, which finishes a written one.
class MVExtAudioFile {
public:
    /// Logs and gives an error, whose code is the status, when the file cannot be opened. `functions` must outlive
    /// the object.
    static Result<std::unique_ptr<MVExtAudioFile>> initWithFileToOpen(
        const OpenedFile& url, const AudioFileFunctions& functions = platformFunctions());
    /// Replaces an existing file. The description is of the encoded data.
    static Result<std::unique_ptr<MVExtAudioFile>> initWithFileToCreateFileTypeStreamDescription(OutputPlace& url,
        std::uint32_t fileType, const AudioStreamBasicDescription& description,
        const AudioFileFunctions& functions = platformFunctions());
    ~MVExtAudioFile();
    MVExtAudioFile(const MVExtAudioFile&) = delete;
    MVExtAudioFile& operator=(const MVExtAudioFile&) = delete;

    double sampleRate() const { return m_sampleRate; } ///< frames per second of the file
    void setSampleRate(double rate) { m_sampleRate = rate; }
    std::uint32_t numberChannels() const { return m_numberChannels; }
    void setNumberChannels(std::uint32_t channels) { m_numberChannels = channels; }
    const std::string& filename() const { return m_filename; } ///< last component of the path
    void setFilename(std::string name) { m_filename = std::move(name); }
    OSStatus lastError() const { return m_err; }
    void setLastError(OSStatus status) { m_err = status; }

    /// Interleaved packed floats of the file's rate and channels.
    AudioStreamBasicDescription canonicalDataFormat() const;
    AudioStreamBasicDescription fileDataFormat();
    AudioStreamBasicDescription clientDataFormat();
    void setClientDataFormat(const AudioStreamBasicDescription& format);

    /// The file's length in frames, 0 when it is not known.
    std::int64_t totalFrame();
    /// Null when there is none.
    AudioConverterRef audioConverter();
    /// Bits per second of the encoder.
    void setBitRate(std::uint32_t bitsPerSecond);

    /// The next `count` frames, fewer at the end, none after it. Deliberate: after a failure the buffer has the full
    /// size that was asked for, filled with zeros, so whoever reads until it is empty must look at lastError too.
    Bytes readDataWithNumberFrames(std::uint32_t count);
    /// Encodes the whole frames of the buffer; without one nothing happens, and lastError stays.
    void writeData(ByteView data);

    /// Closes the file before the end of the object's life; lastError tells whether a written one could be finished.
    void close();

private:
    MVExtAudioFile(const AudioFileFunctions& functions, ExtAudioFileRef file, const Path& url);
    static const AudioFileFunctions& platformFunctions();
    /// Stores the status, logs it by the format when it is not 0; true when it is 0.
    bool succeeded(OSStatus status, const char* message);
    template <class T> T property(std::uint32_t property, const char* message);

    const AudioFileFunctions& m_functions;
    ExtAudioFileRef m_extAudioFileRef; // owned; null after close()
    double m_sampleRate = 0;
    std::uint32_t m_numberChannels = 0;
    std::string m_filename;
    OSStatus m_err = noErr;
};

} // namespace mv
