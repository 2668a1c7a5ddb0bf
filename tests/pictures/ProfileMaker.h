#pragma once

#include "Base/Core/Bytes.h"

namespace mv::test {

/// A matrix profile whose red and blue primaries are exchanged, so that its effect cannot be overlooked.
Bytes swappedProfile();
/// A profile of four inks that takes cyan for yellow and yellow for cyan, through a table of colours in Lab.
Bytes swappedInkProfile();
/// The platform library's own description of sRGB, as a file.
Bytes srgbProfile();

} // namespace mv::test
