#pragma once

#include "Base/Core/Date.h"
#include "system/OpenedFile.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace mv {

/// Camera and exposure facts of a picture, as display texts. Everything starts empty. Owned by whoever holds the
/// pointer; the service hands it to its client as a remote object and touches it on its own thread only.
struct MVExifInfo {
    using Text = std::optional<std::string>;

    Text vendor;
    Text model;
    Text orientation;
    Text maxAperture;
    Text focalLength;
    Text shutterSpeed;
    Text F_value;
    Text exposureBias;
    Text exposureProgram;
    Text meteringMode;
    Text iso;
    Text whiteBalance;
    Text flash;
    Text flashMode;
    Text colorSpace;
    Text sceneCaptureType;
    Text version;
    Text redEyeReduction;
    std::int32_t versionNumber = 0;
    std::optional<Date> date;

    /// Copies every field but one: deliberately, the source's version goes into this vendor, and this version stays.
    void setValues(const MVExifInfo& source);
};

/// A text field by the name of its property.
struct ExifTextProperty {
    const char* name;
    MVExifInfo::Text MVExifInfo::*field;
};

/// In the order of their declaration.
inline constexpr std::array ExifTextProperties {
    ExifTextProperty { "vendor", &MVExifInfo::vendor },
    ExifTextProperty { "model", &MVExifInfo::model },
    ExifTextProperty { "orientation", &MVExifInfo::orientation },
    ExifTextProperty { "maxAperture", &MVExifInfo::maxAperture },
    ExifTextProperty { "focalLength", &MVExifInfo::focalLength },
    ExifTextProperty { "shutterSpeed", &MVExifInfo::shutterSpeed },
    ExifTextProperty { "F_value", &MVExifInfo::F_value },
    ExifTextProperty { "exposureBias", &MVExifInfo::exposureBias },
    ExifTextProperty { "exposureProgram", &MVExifInfo::exposureProgram },
    ExifTextProperty { "meteringMode", &MVExifInfo::meteringMode },
    ExifTextProperty { "iso", &MVExifInfo::iso },
    ExifTextProperty { "whiteBalance", &MVExifInfo::whiteBalance },
    ExifTextProperty { "flash", &MVExifInfo::flash },
    ExifTextProperty { "flashMode", &MVExifInfo::flashMode },
    ExifTextProperty { "colorSpace", &MVExifInfo::colorSpace },
    ExifTextProperty { "sceneCaptureType", &MVExifInfo::sceneCaptureType },
    ExifTextProperty { "version", &MVExifInfo::version },
    ExifTextProperty { "redEyeReduction", &MVExifInfo::redEyeReduction },
};

/// `File` is how a file is named, as in MVMediaInfoBuilderOf.
template <class File> class MVExifExtractorBaseOf {
public:
    virtual ~MVExifExtractorBaseOf() = default;
    /// Null when the file has no readable EXIF data.
    virtual std::shared_ptr<MVExifInfo> extractExif(const File& file) = 0;
};

/// What the service implements.
using MVExifExtractorBase = MVExifExtractorBaseOf<OpenedFile>;

} // namespace mv
