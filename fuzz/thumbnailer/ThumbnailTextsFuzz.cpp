// What stands in files of the shared cache, and URIs.
#include "Base/Core/FileUri.h"
#include "png/PngFile.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::ByteView bytes(data, size);
    for (const auto& [key, text] : mv::textsOfPng(bytes)) {
        if (key.size() + text.size() >= size)
            std::abort();
    }
    auto path = mv::pathOfFileUri(mv::charsOf(bytes));
    if (!path)
        return 0;
    // What is a path has one URI, which leads back to it.
    auto again = mv::pathOfFileUri(mv::fileUri(*path));
    if (!again || *again != *path || path->find('\0') != std::string::npos)
        std::abort();
    return 0;
}
