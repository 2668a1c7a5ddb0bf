#include "pictures/ColorConversion.h"

#include "Base/Core/Handle.h"
#include "system/Mutex.h"

#include <cstring>
#include <deque>
#include <functional>
#include <lcms2.h>
#include <string>

namespace mv {

namespace {

using ProfileHandle = std::unique_ptr<void, CloseWith<cmsCloseProfile>>;

// Phones, cameras and editors of one collection use a handful of profiles.
constexpr std::size_t MaxCachedConversions = 8;
// Larger profiles are rare and not worth keeping in memory.
constexpr std::size_t MaxCachedProfileBytes = 1u << 20;

struct CachedConversion {
    std::string profile;
    PixelModel model;
    std::shared_ptr<const ColorConversion> conversion; // null: known to be unusable
};

struct ConversionCache {
    Mutex lock;
    std::deque<CachedConversion> entries MV_GUARDED_BY(lock);
};

ConversionCache& conversionCache()
{
    static ConversionCache cache;
    return cache;
}

cmsUInt32Number formatOf(PixelModel model)
{
    switch (model) {
    case PixelModel::Gray:
        return TYPE_GRAY_8;
    case PixelModel::GrayAlpha:
        return TYPE_GRAYA_8;
    case PixelModel::Rgb:
        return TYPE_RGB_8;
    case PixelModel::RgbAlpha:
        return TYPE_RGBA_8;
    default:
        return TYPE_CMYK_8_REV;
    }
}

cmsColorSpaceSignature spaceOf(PixelModel model)
{
    switch (model) {
    case PixelModel::Gray:
    case PixelModel::GrayAlpha:
        return cmsSigGrayData;
    case PixelModel::Cmyk:
        return cmsSigCmykData;
    default:
        return cmsSigRgbData;
    }
}

template <PixelModel Model> void plainRowToRgba(const std::uint8_t* from, std::uint8_t* to, std::size_t count)
{
    constexpr int Channels = channelsOf(Model);
    for (std::size_t i = 0; i < count; ++i, from += Channels, to += 4) {
        if constexpr (Model == PixelModel::Ycc) {
            auto [red, green, blue] = rgbOfYcc(from);
            const std::uint8_t pixel[] { red, green, blue, 255 };
            std::memcpy(to, pixel, sizeof pixel);
            continue;
        }
        for (int c = 0; c < 3; ++c)
            to[c] = Model == PixelModel::Cmyk ? static_cast<std::uint8_t>((from[c] * from[Channels - 1] + 127) / 255)
                                              : from[Channels < 3 ? 0 : c];
        to[3] = hasAlpha(Model) ? from[Channels - 1] : 255;
    }
}

void plainToRgba(const std::uint8_t* from, PixelModel model, std::uint8_t* to, std::size_t count)
{
    switch (model) {
    case PixelModel::Gray:
        return plainRowToRgba<PixelModel::Gray>(from, to, count);
    case PixelModel::GrayAlpha:
        return plainRowToRgba<PixelModel::GrayAlpha>(from, to, count);
    case PixelModel::RgbAlpha:
        return plainRowToRgba<PixelModel::RgbAlpha>(from, to, count);
    case PixelModel::Ycc:
        return plainRowToRgba<PixelModel::Ycc>(from, to, count);
    case PixelModel::Cmyk:
        return plainRowToRgba<PixelModel::Cmyk>(from, to, count);
    default:
        return plainRowToRgba<PixelModel::Rgb>(from, to, count);
    }
}

Bytes rgbRowOfYcc(ByteView ycc)
{
    Bytes rgb(ycc.size());
    for (std::size_t i = 0; i + 3 <= rgb.size(); i += 3) {
        auto pixel = rgbOfYcc(&ycc[i]);
        std::memcpy(&rgb[i], pixel.data(), pixel.size());
    }
    return rgb;
}

} // namespace

ColorConversion::~ColorConversion() { cmsDeleteTransform(m_transform); }

std::shared_ptr<const ColorConversion> ColorConversion::make(ByteView profile, PixelModel model)
{
    ProfileHandle source(cmsOpenProfileFromMem(profile.data(), static_cast<cmsUInt32Number>(profile.size())));
    if (!source || cmsGetColorSpace(source.get()) != spaceOf(model))
        return nullptr;
    ProfileHandle target(cmsCreate_sRGBProfile());
    // Without its one-pixel cache a transform has no state and may be used by several threads.
    void* transform = cmsCreateTransform(
        source.get(), formatOf(model), target.get(), TYPE_RGBA_8, INTENT_PERCEPTUAL, cmsFLAGS_NOCACHE);
    if (!transform)
        return nullptr;
    return std::shared_ptr<const ColorConversion>(new ColorConversion(transform, model));
}

std::shared_ptr<const ColorConversion> ColorConversion::fromProfile(ByteView profile, PixelModel model)
{
    if (profile.size() > MaxCachedProfileBytes)
        return make(profile, model);
    ConversionCache& cache = conversionCache();
    {
        MutexLock guard(cache.lock);
        for (const CachedConversion& entry : cache.entries) {
            if (entry.model == model && entry.profile == charsOf(profile))
                return entry.conversion;
        }
    }
    auto conversion = make(profile, model);
    MutexLock guard(cache.lock);
    cache.entries.push_front({ std::string(charsOf(profile)), model, conversion });
    if (cache.entries.size() > MaxCachedConversions)
        cache.entries.pop_back();
    return conversion;
}

void ColorConversion::toRgba(const std::uint8_t* pixels, std::uint8_t* rgba, std::size_t count) const
{
    cmsDoTransform(m_transform, pixels, rgba, static_cast<cmsUInt32Number>(count));
    int channels = channelsOf(m_model);
    for (std::size_t i = 0; i < count; ++i)
        rgba[i * 4 + 3] = hasAlpha(m_model) ? pixels[i * channels + channels - 1] : 255;
}

Bytes toSrgb(ByteView pixels, PixelModel model, ByteView profile)
{
    std::size_t channels = static_cast<std::size_t>(channelsOf(model));
    std::size_t count = pixels.size() / channels;
    if (model == PixelModel::Ycc && !profile.empty())
        return toSrgb(rgbRowOfYcc(pixels), PixelModel::Rgb, profile);
    Bytes rgba(count * 4);
    if (!profile.empty()) {
        if (auto conversion = ColorConversion::fromProfile(profile, model)) {
            conversion->toRgba(pixels.data(), rgba.data(), count);
            return rgba;
        }
    }
    plainToRgba(pixels.data(), model, rgba.data(), count);
    return rgba;
}

} // namespace mv
