#pragma once

#include "mp4/Box.h"

#include <span>
#include <string_view>

namespace mv {

// Fields that stand outside of the iTunes-style list as well: QuickTime's items with keys, its texts in user data, and
// 3GPP's. Programs differ in which of them they show.

/// The code of the iTunes item that says what a key of QuickTime's says (KeyedItem's form): '\251nam' of "title". 0
/// where none does.
std::uint32_t itemOfKey(std::string_view key);
/// The same of a box in user data: '\251nam' of itself and of 'titl'.
std::uint32_t itemOfUserData(std::uint32_t type);

/// The boxes in a movie box that say what items of these codes say. The moment of a recording ("creationdate") is none
/// of them: it is not what a list's date is set to.
std::vector<Box> repeatedFields(StructureReader& reader, const Box& movie, std::span<const std::uint32_t> items);

} // namespace mv
