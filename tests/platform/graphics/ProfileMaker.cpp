#include "tests/platform/graphics/ProfileMaker.h"

#include <lcms2.h>

namespace mv::test {

namespace {

Bytes saved(cmsHPROFILE profile)
{
    cmsUInt32Number size = 0;
    cmsSaveProfileToMem(profile, nullptr, &size);
    Bytes bytes(size);
    cmsSaveProfileToMem(profile, bytes.data(), &size);
    cmsCloseProfile(profile);
    return bytes;
}

} // namespace

Bytes swappedProfile()
{
    cmsCIExyY white;
    cmsWhitePointFromTemp(&white, 6504);
    cmsCIExyYTRIPLE primaries { { 0.15, 0.06, 1 }, { 0.30, 0.60, 1 }, { 0.64, 0.33, 1 } };
    cmsFloat64Number curve[] { 2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045 };
    cmsToneCurve* tone = cmsBuildParametricToneCurve(nullptr, 4, curve);
    cmsToneCurve* tones[] { tone, tone, tone };
    cmsHPROFILE profile = cmsCreateRGBProfile(&white, &primaries, tones);
    cmsFreeToneCurve(tone);
    return saved(profile);
}

Bytes srgbProfile() { return saved(cmsCreate_sRGBProfile()); }

} // namespace mv::test
