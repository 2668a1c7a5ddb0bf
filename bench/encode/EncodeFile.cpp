// bench_encode [-x] INPUT OUTPUT: encodes a file at the defaults; -x with exact conversion.

#include "service/transcode/MP3Encoder.h"

#include <cstring>

using namespace mv;

int main(int count, char** arguments)
{
    bool exact = count == 4 && std::strcmp(arguments[1], "-x") == 0;
    if (count != 3 && !exact)
        return 2;
    MP3Encoder encoder;
    if (exact)
        encoder.setAttributes({ { MVAudioEncoderExactConversionAttribute, true } });
    return encoder.encodeFileOutputFile(arguments[count - 2], arguments[count - 1]) ? 0 : 1;
}
