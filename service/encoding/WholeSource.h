#pragma once

#include "system/OpenedFile.h"
#include "system/OutputPlace.h"

#include <memory>

namespace mv {

/// A source of which a decoder may take what cannot be read, or is not there any more, for its end, or for silence:
/// nothing that is made of it then gets a name.
class WholeSource {
public:
    /// Whatever cannot be opened is one, too.
    explicit WholeSource(const OpenedFile& file);

    /// The same file, whose reading is watched.
    const OpenedFile& file() const { return m_file; }
    /// The same place: a file that is made there is named as long as all of the source could be read.
    SharedPlace placeFor(SharedPlace place) const;

private:
    class Watched;
    class Place;
    class Output;

    std::shared_ptr<const Watched> m_watched;
    OpenedFile m_file;
};

} // namespace mv
