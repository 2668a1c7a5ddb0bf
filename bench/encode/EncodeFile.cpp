// bench_encode [-x] [-w] INPUT OUTPUT: encodes a file at the defaults; -x with exact conversion. With -w it encodes
// twice and prints wall and CPU seconds of the second time, as in a service that has done a job before.

#include "bench/encode/Stopwatch.h"
#include "service/encoder/MP3Encoder.h"
#include "service/transcode/Mp3EncodingJob.h"

#include <string_view>

using namespace mv;

int main(int count, char** arguments)
{
    MP3Encoder encoder(standardEncoding());
    bool warm = false;
    int first = 1;
    for (; first < count && arguments[first][0] == '-'; ++first) {
        warm = warm || std::string_view(arguments[first]) == "-w";
        if (std::string_view(arguments[first]) == "-x")
            encoder.setAttributes({ { MVAudioEncoderExactConversionAttribute, true } });
    }
    if (count - first != 2)
        return 2;
    bool encoded
        = encoder.encodeFileOutputFile(OpenedFile::at(arguments[first]), OutputPlace::at(arguments[first + 1]));
    if (warm && encoded) {
        Stopwatch watch;
        encoded = encoder.encodeFileOutputFile(OpenedFile::at(arguments[first]), OutputPlace::at(arguments[first + 1]));
        watch.print();
    }
    return encoded ? 0 : 1;
}
