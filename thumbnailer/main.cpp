#include "thumbnailer/Thumbnailer.h"

int main(int count, char** words)
{
    // Without even its own name there are no words.
    return mv::runThumbnailer({ words + (count > 0 ? 1 : 0), words + count });
}
