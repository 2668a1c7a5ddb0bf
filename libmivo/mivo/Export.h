#pragma once

/// What stands behind the library's binary interface; everything else in it is hidden.
#define MIVO_API __attribute__((visibility("default")))
/// Within such a class what only the library itself uses.
#define MIVO_INTERNAL __attribute__((visibility("hidden")))
