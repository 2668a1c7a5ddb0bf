#pragma once

/// What stands behind the library's binary interface; everything else in it is hidden.
#define MIVO_API __attribute__((visibility("default")))
