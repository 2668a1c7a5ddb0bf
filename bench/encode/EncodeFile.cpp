// bench_encode [-x] [-w] [-c CORES] [-b BITRATE] [-v] INPUT OUTPUT: encodes a file at the defaults; -x with exact
// conversion, -c by several encoders at once (exactly), -b at another bit rate, -v at a variable one. With -w it
// encodes twice and prints wall and CPU seconds of the second time, as in a service that has done a job before.

#include "bench/encode/Stopwatch.h"
#include "service/encoder/MP3Encoder.h"
#include "service/include/MVAudioEncoderBase.h"
#include "service/transcode/Mp3EncodingJob.h"

#include <cstdlib>
#include <unistd.h>

using namespace mv;

int main(int count, char** arguments)
{
    Record attributes;
    bool warm = false;
    unsigned cores = 1;
    for (int option; (option = getopt(count, arguments, "xwvc:b:")) != -1;) {
        if (option == '?')
            return 2;
        warm = warm || option == 'w';
        if (option == 'c')
            cores = static_cast<unsigned>(std::atoi(optarg));
        if (option == 'x' || option == 'c')
            attributes.set(MVAudioEncoderExactConversionAttribute, true);
        if (option == 'b')
            attributes.set(MVAudioEncoderBitrateAttribute, static_cast<std::int32_t>(std::atoi(optarg)));
        if (option == 'v')
            attributes.set(MVAudioEncoderVBRAttribute, true);
    }
    if (count - optind != 2)
        return 2;
    MP3Encoder encoder(standardEncoding(cores));
    encoder.setAttributes(attributes);
    auto encode = [&] {
        return encoder.encodeFileOutputFile(OpenedFile::at(arguments[optind]), OutputPlace::at(arguments[optind + 1]));
    };
    bool encoded = encode();
    if (warm && encoded) {
        Stopwatch watch;
        encoded = encode();
        watch.print();
    }
    return encoded ? 0 : 1;
}
