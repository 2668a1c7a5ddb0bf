#pragma once

#include "client/MediaRequests.h"

#include <mivo/Picture.h>

namespace mivo {

class PictureContent {
public:
    static Picture made(mv::MediaPicture picture);
    static Picture made(mv::MediaThumbnail thumbnail);
    static const PictureContent& of(const Picture& picture);

    File file;
    std::string mimeType;
    std::string description;
    int width = 0;
    int height = 0;
    int type = 0;

private:
    static Picture of(PictureContent content);
};

} // namespace mivo
