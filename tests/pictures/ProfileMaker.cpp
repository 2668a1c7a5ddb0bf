#include "tests/pictures/ProfileMaker.h"

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

namespace {

/// Inks (65535 is full) to Lab: every ink takes its share of light away.
cmsInt32Number labOfSwappedInks(const cmsUInt16Number* inks, cmsUInt16Number* lab, void* toLab)
{
    double light = 1 - inks[3] / 65535.0;
    double rgb[3];
    for (int c = 0; c < 3; ++c)
        rgb[c] = light * (1 - inks[2 - c] / 65535.0);
    cmsDoTransform(toLab, rgb, lab, 1);
    return TRUE;
}

} // namespace

Bytes swappedInkProfile()
{
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHPROFILE labSpace = cmsCreateLab4Profile(nullptr);
    cmsHTRANSFORM toLab
        = cmsCreateTransform(srgb, TYPE_RGB_DBL, labSpace, TYPE_Lab_16, INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE);
    cmsPipeline* pipeline = cmsPipelineAlloc(nullptr, 4, 3);
    cmsStage* table = cmsStageAllocCLut16bit(nullptr, 9, 4, 3, nullptr);
    cmsStageSampleCLut16bit(table, labOfSwappedInks, toLab, 0);
    cmsPipelineInsertStage(pipeline, cmsAT_BEGIN, cmsStageAllocToneCurves(nullptr, 4, nullptr));
    cmsPipelineInsertStage(pipeline, cmsAT_END, table);
    cmsPipelineInsertStage(pipeline, cmsAT_END, cmsStageAllocToneCurves(nullptr, 3, nullptr));

    cmsHPROFILE profile = cmsCreateProfilePlaceholder(nullptr);
    cmsSetProfileVersion(profile, 4.3);
    cmsSetDeviceClass(profile, cmsSigOutputClass);
    cmsSetColorSpace(profile, cmsSigCmykData);
    cmsSetPCS(profile, cmsSigLabData);
    cmsWriteTag(profile, cmsSigAToB0Tag, pipeline);
    Bytes bytes = saved(profile);
    cmsPipelineFree(pipeline);
    cmsDeleteTransform(toLab);
    cmsCloseProfile(labSpace);
    cmsCloseProfile(srgb);
    return bytes;
}

Bytes srgbProfile() { return saved(cmsCreate_sRGBProfile()); }

} // namespace mv::test
