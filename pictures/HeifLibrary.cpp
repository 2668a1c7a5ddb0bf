#include "pictures/HeifLibrary.h"

#include "Base/Core/LateLoading.h"
#include "Base/Core/NSLog.h"

#include <dlfcn.h>
#include <optional>

namespace mv {

namespace {

constexpr const char* LibraryName = "libheif.so.1";

/// Finds one function; false when the library does not have it.
template <class Function> bool find(void* library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
}

std::optional<HeifLibrary> load()
{
    aboutToLoadLibrary();
    void* library = dlopen(LibraryName, RTLD_LAZY | RTLD_LOCAL);
    if (!library) {
        NSLog("HEIF pictures cannot be read: %s is not installed", LibraryName);
        return std::nullopt;
    }
    HeifLibrary heif;
    bool complete = find(library, "heif_context_alloc", heif.contextAlloc)
        && find(library, "heif_context_free", heif.contextFree)
        && find(library, "heif_context_read_from_reader", heif.contextReadFromReader)
        && find(library, "heif_context_set_max_decoding_threads", heif.contextSetMaxDecodingThreads)
        && find(library, "heif_context_get_primary_image_handle", heif.contextGetPrimaryImageHandle)
        && find(library, "heif_image_handle_release", heif.handleRelease)
        && find(library, "heif_image_handle_get_width", heif.handleGetWidth)
        && find(library, "heif_image_handle_get_height", heif.handleGetHeight)
        && find(library, "heif_image_handle_has_alpha_channel", heif.handleHasAlphaChannel)
        && find(library, "heif_image_handle_is_premultiplied_alpha", heif.handleIsPremultipliedAlpha)
        && find(library, "heif_image_handle_get_color_profile_type", heif.handleGetColorProfileType)
        && find(library, "heif_image_handle_get_raw_color_profile_size", heif.handleGetRawColorProfileSize)
        && find(library, "heif_image_handle_get_raw_color_profile", heif.handleGetRawColorProfile)
        && find(library, "heif_image_handle_get_list_of_thumbnail_IDs", heif.handleGetListOfThumbnailIds)
        && find(library, "heif_image_handle_get_thumbnail", heif.handleGetThumbnail)
        && find(library, "heif_decoding_options_alloc", heif.decodingOptionsAlloc)
        && find(library, "heif_decoding_options_free", heif.decodingOptionsFree)
        && find(library, "heif_decode_image", heif.decodeImage)
        && find(library, "heif_image_release", heif.imageRelease)
        && find(library, "heif_image_get_width", heif.imageGetWidth)
        && find(library, "heif_image_get_height", heif.imageGetHeight)
        && find(library, "heif_image_get_plane_readonly", heif.imageGetPlaneReadonly);
    if (complete)
        return heif;
    NSLog("HEIF pictures cannot be read: %s is too old", LibraryName);
    return std::nullopt;
}

} // namespace

const HeifLibrary* HeifLibrary::get()
{
    static const std::optional<HeifLibrary> library = load();
    return library ? &*library : nullptr;
}

} // namespace mv
