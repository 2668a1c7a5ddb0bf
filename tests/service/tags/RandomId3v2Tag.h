#pragma once

#include "tests/service/tags/TagDice.h"

namespace mv::test {

/// One ID3v2 tag. Whoever damages it leaves out pictures: which damaged ones can be drawn is another matter.
std::string randomId3v2Tag(Dice& dice, int version, bool hasPictures, bool hasFooter = false);

} // namespace mv::test
