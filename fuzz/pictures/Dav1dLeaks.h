#pragma once

/// libdav1d forgets some bytes of damaged AV1 pictures, however it is closed. Its frames hide who called.
extern "C" const char* __lsan_default_suppressions() { return "leak:libdav1d"; }
