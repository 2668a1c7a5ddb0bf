#pragma once

#include "service/job/TagChanges.h"
#include "service/tagedit/Splices.h"
#include "system/ByteSource.h"

#include <cstdint>
#include <vector>

namespace mv {

enum class RiffForm {
    Wave, ///< RIFF, little-endian
    Aiff, ///< FORM, big-endian
};

/// What becomes of a WAVE or AIFF file: an ID3 tag in a chunk of its own, and the texts that the form itself has (an
/// INFO list, which is made where none is; NAME, AUTH and ANNO where they are). Every other chunk keeps its bytes.
/// Tags go before sound that is cut off, or longer than anybody knew. Unsupported for files of 64-bit sizes, such whose
/// chunks do not lead to the sound, and such whose sound claims to be empty and is not; Limit above 4 GiB.
Result<Splices> riffSplices(const ByteSource& file, RiffForm form, const TagChanges& changes);

/// The size of each chunk that holds no tag, in their order: what a change must not touch. Format where the chunks do
/// not fill the file's form.
Result<std::vector<std::uint64_t>> riffOutline(const ByteSource& file, RiffForm form);

} // namespace mv
