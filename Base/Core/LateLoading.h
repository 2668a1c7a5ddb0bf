#pragma once

namespace mv {

/// Left to itself a process loads large libraries when they are first needed. One that is about to be closed to the
/// file system loads what it may need before, and says that the rest is not to be had. Set once, with one thread.
void forbidLateLoading();

/// Leaves a job that needs a library which this process may not load any more. Deliberately no std::exception:
/// nobody on the way out can mistake it for a failure of the file.
struct LibraryNotLoaded { };

/// To be called before a library is loaded late. Raises LibraryNotLoaded where that is forbidden.
void aboutToLoadLibrary();

} // namespace mv
