#include "Base/Core/LateLoading.h"
#include "Base/Core/NSLog.h"
#include "ffmpeg/MediaBackend.h"

#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace mv {

namespace {

/// Where the module lies, seen from the executable's folder: a build tree, then an installed tree, for programs that
/// people call and for those that they do not.
constexpr const char* ModulePlaces[]
    = { "../lib/mivo-ffmpeg.so", "../lib/mivo/mivo-ffmpeg.so", "../../lib/mivo/mivo-ffmpeg.so" };

class UnavailableMediaBackend final : public MediaBackend {
public:
    MovieBackend& movies() override { return m_movies; }
    AudioBackend& audio() override { return m_audio; }

private:
    MovieBackend m_movies;
    AudioBackend m_audio;
};

/// Never closed again: FFmpeg's libraries keep threads' and process's state.
void* openModule(std::string& problem)
{
    std::error_code failure;
    std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", failure);
    problem = "the executable's folder is not known";
    for (const char* place : ModulePlaces) {
        std::filesystem::path module = (executable.parent_path() / place).lexically_normal();
        if (failure || !std::filesystem::exists(module, failure)) {
            problem = "no " + module.string();
            continue;
        }
        // Lazily: of the calls between some 130 libraries a process makes few.
        if (void* handle = dlopen(module.c_str(), RTLD_LAZY | RTLD_LOCAL))
            return handle;
        problem = dlerror();
        return nullptr;
    }
    return nullptr;
}

MediaBackend& loadBackend()
{
    aboutToLoadLibrary();
    static UnavailableMediaBackend unavailable;
    std::string problem;
    if (void* module = openModule(problem)) {
        using Entry = MediaBackend* (*)();
        if (auto entry = reinterpret_cast<Entry>(dlsym(module, MediaModuleEntry)))
            return *entry();
        problem = "the module has no entry";
    }
    NSLog("cannot load the media module: %s", problem.c_str());
    return unavailable;
}

MediaBackend& loadedBackend()
{
    static MediaBackend& backend = loadBackend();
    return backend;
}

} // namespace

MovieBackend& installedMovieBackend() { return loadedBackend().movies(); }

AudioBackend& installedAudioBackend() { return loadedBackend().audio(); }

} // namespace mv
