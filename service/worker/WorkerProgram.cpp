#include "service/worker/WorkerProgram.h"

#include "Base/Core/LateLoading.h"
#include "Base/Core/NSBundle.h"
#include "Base/Core/Text.h"
#include "audio/AudioBackend.h"
#include "facts/reading/Describe.h"
#include "movies/MovieBackend.h"
#include "pictures/PictureReader.h"
#include "platform/BASS.h"
#include "process/ChildProgram.h"
#include "sandbox/Sandbox.h"
#include "service/job/Messages.h"
#include "service/job/RecordCode.h"
#include "service/job/WorkerWords.h"

#include <cstdlib>
#include <ctime>
#include <malloc.h>
#include <span>
#include <string>

namespace mv {

namespace {

void initialiseAudioLibrary()
{
    constexpr int DefaultDevice = -1;
    constexpr std::uint32_t Frequency = 44100;
    // Deliberately not looked at: without the library the basic audio parser reports its own failures.
    BASS_Init(DefaultDevice, Frequency, 0, nullptr, nullptr);
}

/// The local zone stays what it is now: one that has a name is not looked up again, which would fail and give UTC.
void keepZone(const std::string& zone)
{
    setenv("TZ", zone.c_str(), 1);
    tzset();
}

/// What libraries load or open at their first use, which a closed process cannot do any more.
void loadEverything(WorkerKind kind)
{
    static_cast<void>(NSBundle::mainBundle().executablePath());
    static_cast<void>(utf8FromCP949(bytesOf("\xb0\xa1")));
    prepareDescribing();
    initialiseAudioLibrary();
    if (kind == WorkerKind::Light)
        return forbidLateLoading();
    static_cast<void>(installedMovieBackend().hasVideoDecoder(0));
    static_cast<void>(installedAudioBackend());
    preparePictureLibraries();
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
/// The sanitizers' library makes system calls of its own and maps terabytes. What it finds is more to a build with it
/// than a closed process is; nobody installs one.
Result<SandboxReport> closeProcess(WorkerKind, UnknownCall) { return SandboxReport {}; }
#else
constexpr Limits LightLimits { .memoryBytes = std::uint64_t { 512 } << 20, .cpuSeconds = 15, .descriptors = 32 };
constexpr Limits MediaLimits { .memoryBytes = std::uint64_t { 3 } << 29, .cpuSeconds = 15, .descriptors = 32 };

Result<SandboxReport> closeProcess(WorkerKind kind, UnknownCall unknown)
{
    return closeSandbox(kind == WorkerKind::Media ? MediaLimits : LightLimits, unknown);
}
#endif

/// What a job has used the next one finds warm: a worker lives so short that nothing is gained by giving memory back,
/// and taking a picture's anew costs as much as a quarter of its decoding.
void keepMemoryWarm()
{
    constexpr int Much = 32 << 20;
    mallopt(M_MMAP_THRESHOLD, Much);
    mallopt(M_TRIM_THRESHOLD, 2 * Much);
}

} // namespace

int runWorkerProgram(int count, char** words, const ServeJobs& serve, UnknownCall unknown)
{
    constexpr int NotClosed = 3;
    constexpr int Failed = 1;
    const WorkerSetup setup = setupOf(std::span<const char* const>(words, static_cast<std::size_t>(count)));
    keepMemoryWarm();
    keepZone(setup.zone);
    Channel channel { UniqueFd(ChildProgram::SocketDescriptor) };
    loadEverything(setup.kind);
    auto closed = closeProcess(setup.kind, unknown);
    if (!closed) {
        static_cast<void>(channel.send(kindOf(Message::NotClosed), bytesOf(closed.error().text)));
        return NotClosed;
    }
    Record facts { { ReadyVersion, MIVO_VERSION } };
    if (closed->missing)
        facts.set(ReadyMissing, *closed->missing);
    Bytes ready;
    encodeRecord(facts, ready);
    if (!channel.send(kindOf(Message::Ready), ready))
        return Failed;
    return serve(channel) ? 0 : Failed;
}

} // namespace mv
