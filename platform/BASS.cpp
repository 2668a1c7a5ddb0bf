#include "platform/BASS.h"

#include "audio/StreamLength.h"
#include "system/Mutex.h"

#include <map>
#include <optional>

namespace mv {

namespace {

constexpr std::uint64_t LengthFailed = ~std::uint64_t { 0 };
constexpr double SecondsFailed = -1.0;
constexpr std::uint64_t BytesPerSample = 2; // the library counts in 16-bit samples

thread_local int t_error = BASS_OK;

// The streams that are open. The files are not kept: all that anybody asks for is known by then.
class Library {
public:
    static Library& instance()
    {
        static Library library;
        return library;
    }

    bool start() MV_EXCLUDES(m_lock)
    {
        MutexLock guard(m_lock);
        return !std::exchange(m_started, true);
    }
    bool stop() MV_EXCLUDES(m_lock)
    {
        MutexLock guard(m_lock);
        m_streams.clear();
        return std::exchange(m_started, false);
    }
    bool started() MV_EXCLUDES(m_lock)
    {
        MutexLock guard(m_lock);
        return m_started;
    }
    HSTREAM add(const StreamLength& length) MV_EXCLUDES(m_lock)
    {
        MutexLock guard(m_lock);
        while (m_next == 0 || m_streams.contains(m_next))
            ++m_next;
        m_streams.emplace(m_next, length);
        return m_next++;
    }
    bool remove(HSTREAM stream) MV_EXCLUDES(m_lock)
    {
        MutexLock guard(m_lock);
        return m_streams.erase(stream) != 0;
    }
    std::optional<StreamLength> find(HSTREAM stream) MV_EXCLUDES(m_lock)
    {
        MutexLock guard(m_lock);
        auto found = m_streams.find(stream);
        return found == m_streams.end() ? std::nullopt : std::optional(found->second);
    }

private:
    Mutex m_lock;
    bool m_started MV_GUARDED_BY(m_lock) = false;
    HSTREAM m_next MV_GUARDED_BY(m_lock) = 1;
    std::map<HSTREAM, StreamLength> m_streams MV_GUARDED_BY(m_lock);
};

template <class T> T outcome(int error, T result)
{
    t_error = error;
    return result;
}

int errorOf(const Error& error)
{
    return error.kind == Error::Kind::Unsupported ? BASS_ERROR_FILEFORM : BASS_ERROR_FORMAT;
}

bool isAnotherFormat(const Result<StreamLength>& length)
{
    return !length && length.error().kind == Error::Kind::Unsupported;
}

using Measure = Result<StreamLength> (*)(const ByteSource&);

// The first of the two formats that the file is of decides.
HSTREAM openStream(const OpenedFile& file, Measure measure, Measure otherwise)
{
    if (!file.content().ok())
        return outcome<HSTREAM>(BASS_ERROR_FILEOPEN, 0);
    const ByteSource& content = **file.content();
    auto length = measure(content);
    if (isAnotherFormat(length))
        length = otherwise(content);
    if (!length)
        return outcome<HSTREAM>(errorOf(length.error()), 0);
    return outcome(BASS_OK, Library::instance().add(*length));
}

HSTREAM openWholeFile(
    bool memory, const OpenedFile& file, std::uint64_t offset, std::uint64_t length, Measure measure, Measure otherwise)
{
    if (!Library::instance().started())
        return outcome<HSTREAM>(BASS_ERROR_INIT, 0);
    if (memory || offset != 0 || length != 0)
        return outcome<HSTREAM>(BASS_ERROR_ILLPARAM, 0);
    return openStream(file, measure, otherwise);
}

} // namespace

bool BASS_Init(int, std::uint32_t, std::uint32_t, const void*, const void*)
{
    bool started = Library::instance().start();
    return outcome(started ? BASS_OK : BASS_ERROR_ALREADY, started);
}

bool BASS_Free()
{
    bool stopped = Library::instance().stop();
    return outcome(stopped ? BASS_OK : BASS_ERROR_INIT, stopped);
}

HSTREAM BASS_FLAC_StreamCreateFile(
    bool memory, const OpenedFile& file, std::uint64_t offset, std::uint64_t length, std::uint32_t)
{
    return openWholeFile(memory, file, offset, length, measureFlac, measureOggFlac);
}

HSTREAM BASS_StreamCreateFile(
    bool memory, const OpenedFile& file, std::uint64_t offset, std::uint64_t length, std::uint32_t)
{
    return openWholeFile(memory, file, offset, length, measureOgg, measureFlac);
}

bool BASS_StreamFree(HSTREAM stream)
{
    bool removed = Library::instance().remove(stream);
    return outcome(removed ? BASS_OK : BASS_ERROR_HANDLE, removed);
}

std::uint64_t BASS_ChannelGetLength(HSTREAM stream, std::uint32_t mode)
{
    auto length = Library::instance().find(stream);
    if (!length)
        return outcome(BASS_ERROR_HANDLE, LengthFailed);
    if (mode != BASS_POS_BYTE)
        return outcome(BASS_ERROR_ILLPARAM, LengthFailed);
    return outcome(BASS_OK, length->frames * length->channels * BytesPerSample);
}

double BASS_ChannelBytes2Seconds(HSTREAM stream, std::uint64_t bytes)
{
    auto length = Library::instance().find(stream);
    if (!length)
        return outcome(BASS_ERROR_HANDLE, SecondsFailed);
    double bytesPerSecond = static_cast<double>(length->sampleRate) * length->channels * BytesPerSample;
    return outcome(BASS_OK, static_cast<double>(bytes) / bytesPerSecond);
}

int BASS_ErrorGetCode() { return t_error; }

} // namespace mv
