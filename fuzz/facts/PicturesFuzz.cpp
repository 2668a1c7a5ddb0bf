// The headers of pictures and the EXIF blocks that they carry: the first byte says which kind of picture the rest is.
#include "facts/reading/ExifFacts.h"
#include "facts/reading/PictureOutline.h"

using namespace mv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr FileFamily Families[] = { FileFamily::Jpeg, FileFamily::Png, FileFamily::Gif, FileFamily::Bmp,
        FileFamily::Tiff, FileFamily::WebP, FileFamily::Heif };
    if (size == 0)
        return 0;
    MemorySource source(ByteView(data + 1, size - 1));
    PictureOutline outline = outlineOfPicture(Families[data[0] % std::size(Families)], source);
    Facts facts;
    addExif(facts, outline.exif);
    // As it lies in a file, with whatever cameras put into it.
    Facts raw;
    addExif(raw, ByteView(data + 1, size - 1));
    return 0;
}
