#include "facts/FactErrors.h"
#include "facts/reading/ExifFacts.h"
#include "facts/reading/PictureOutline.h"
#include "facts/reading/Readers.h"

namespace mv {

Result<void> readPicture(Reading& reading)
{
    PictureOutline outline = outlineOfPicture(reading.type.family, reading.source);
    Facts& facts = reading.facts;
    bool hasSize = outline.width != 0 && outline.height != 0;
    // Of a picture that was cut off what the camera says may be left.
    if (!hasSize && outline.exif.empty())
        return notMedia("a picture without a size");
    facts.set(fact::Kind, std::string("picture"));
    if (hasSize) {
        facts.set(fact::Width, outline.width);
        facts.set(fact::Height, outline.height);
    }
    if (outline.orientation != 0)
        facts.set(fact::Orientation, outline.orientation);
    if (!outline.exif.empty())
        addExif(facts, outline.exif);
    return {};
}

} // namespace mv
