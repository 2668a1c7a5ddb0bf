#pragma once

#include "Base/Core/Result.h"
#include "platform/QTMovie.h"
#include "system/OpenedFile.h"

#include <memory>

namespace mv {

/// What kind of component is looked for; the manufacturer and the flags do not count.
struct ComponentDescription {
    OSType componentType = 0; ///< 'imdc', 'sdec', 'adec', 'mhlr'
    OSType componentSubType = 0; ///< a data format for the decoders, a media type for 'mhlr'

    bool operator==(const ComponentDescription&) const = default;
};

/// The movie toolkit: the operations of QTMovie's class, and what is installed. Services use shared(); tests put a
/// fake in its place. Safe on several threads at once.
class QTKit {
public:
    virtual ~QTKit() = default;

    /// The toolkit on real files. Only the file itself is ever opened, never another one that it names.
    static QTKit& shared();

    /// Whether the file's content is of a container that can be opened; cheap, says nothing about its soundness.
    virtual bool canInitWithFile(const OpenedFile& file) = 0;
    virtual Result<std::unique_ptr<QTMovie>> initWithFile(const OpenedFile& file) = 0;

    /// The bracket around movie work on a thread. The toolkit on real files needs neither and does nothing.
    virtual void enterQTKitOnThread() = 0;
    virtual void exitQTKitOnThread() = 0;

    /// FindNextComponent from the start of the list: whether a component of that description is installed.
    /// 'imdc' and 'sdec' are there for every format that can be decoded, 'adec' for compressed audio alone, 'mhlr'
    /// for the media types that have a media handler.
    virtual bool findNextComponent(const ComponentDescription& description) = 0;
};

} // namespace mv
