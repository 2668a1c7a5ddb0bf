#include "service/media1/EncodingRules.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

Facts factsOf(const char* kind, const char* type, const char* codec)
{
    Facts facts;
    facts.set(fact::Kind, std::string(kind));
    facts.set(fact::MimeType, std::string(type));
    if (codec)
        facts.set(fact::AudioCodec, std::string(codec));
    return facts;
}

TEST(EncodingRules, SoundWithADecoderIsEncoded)
{
    EXPECT_TRUE(hasEncodableSound(factsOf("audio", "audio/flac", "flac")));
    EXPECT_TRUE(hasEncodableSound(factsOf("audio", "audio/x-caf", nullptr)));
    EXPECT_TRUE(hasEncodableSound(factsOf("video", "video/mp4", "aac")));
    EXPECT_FALSE(hasEncodableSound(factsOf("video", "video/mp4", nullptr)));
    EXPECT_FALSE(hasEncodableSound(factsOf("picture", "image/png", nullptr)));
    for (const char* type : { "audio/x-ape", "audio/x-musepack", "audio/x-tta", "audio/x-wavpack" })
        EXPECT_FALSE(hasEncodableSound(factsOf("audio", type, "wavpack"))) << type;
}

} // namespace
} // namespace mv
