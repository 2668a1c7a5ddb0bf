#pragma once

#include <libheif/heif.h>

namespace mv {

/// The functions of libheif that are used. The library and the codecs behind it cost more memory and start time than
/// all the others together, so it is loaded when the first such picture comes, and stays.
struct HeifLibrary {
    decltype(&heif_context_alloc) contextAlloc = nullptr;
    decltype(&heif_context_free) contextFree = nullptr;
    decltype(&heif_context_read_from_reader) contextReadFromReader = nullptr;
    decltype(&heif_context_set_max_decoding_threads) contextSetMaxDecodingThreads = nullptr;
    decltype(&heif_context_get_primary_image_handle) contextGetPrimaryImageHandle = nullptr;
    decltype(&heif_image_handle_release) handleRelease = nullptr;
    decltype(&heif_image_handle_get_width) handleGetWidth = nullptr;
    decltype(&heif_image_handle_get_height) handleGetHeight = nullptr;
    decltype(&heif_image_handle_has_alpha_channel) handleHasAlphaChannel = nullptr;
    decltype(&heif_image_handle_is_premultiplied_alpha) handleIsPremultipliedAlpha = nullptr;
    decltype(&heif_image_handle_get_color_profile_type) handleGetColorProfileType = nullptr;
    decltype(&heif_image_handle_get_raw_color_profile_size) handleGetRawColorProfileSize = nullptr;
    decltype(&heif_image_handle_get_raw_color_profile) handleGetRawColorProfile = nullptr;
    decltype(&heif_image_handle_get_list_of_thumbnail_IDs) handleGetListOfThumbnailIds = nullptr;
    decltype(&heif_image_handle_get_thumbnail) handleGetThumbnail = nullptr;
    decltype(&heif_decoding_options_alloc) decodingOptionsAlloc = nullptr;
    decltype(&heif_decoding_options_free) decodingOptionsFree = nullptr;
    decltype(&heif_decode_image) decodeImage = nullptr;
    decltype(&heif_image_release) imageRelease = nullptr;
    decltype(&heif_image_get_width) imageGetWidth = nullptr;
    decltype(&heif_image_get_height) imageGetHeight = nullptr;
    decltype(&heif_image_get_plane_readonly) imageGetPlaneReadonly = nullptr;

    /// Null, with a log line at the first call, when the library is missing or too old. Safe on any thread.
    static const HeifLibrary* get();
};

} // namespace mv
