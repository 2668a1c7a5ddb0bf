#pragma once

#include "bus/Wire.h"
#include "service/job/TagChanges.h"
#include "service/media1/MediaInput.h"

#include <optional>

namespace mv {

/// The tags of a call. A picture that was handed over as a file still is one: reading it takes as long as its disk
/// does, and meanwhile the serving thread has others to serve.
class TagOrder {
public:
    /// Of an a{sv}. Keys that are not written are ignored. Throws BusError: InvalidArgs for a value of another type or
    /// out of range, and for bytes that are neither JPEG nor PNG.
    explicit TagOrder(WireReader& in);

    bool hasHandle() const { return m_handle.has_value(); }
    /// The changes, with what the handle holds; once. Throws MediaError for a handle that cannot be read, and for one
    /// of something else than a picture, of which isRefused() is true afterwards.
    TagChanges take();
    bool isRefused() const { return m_isRefused; }

private:
    void takeCover(WireReader& in, const std::string& signature);

    TagChanges m_changes;
    std::optional<MediaInput> m_handle;
    bool m_isRefused = false;
};

/// Answers a call whose picture is none.
[[noreturn]] void refuseCover();

} // namespace mv
