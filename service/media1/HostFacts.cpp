#include "service/media1/HostFacts.h"

#include "Base/Core/FileUri.h"

namespace mv {

Result<void> checkFacts(const Facts& facts)
{
    if (facts.contains(fact::Url) || !facts.contains(fact::Kind) || !facts.contains(fact::MimeType))
        return Error { Error::Kind::Format, "facts that are not a file's" };
    return {};
}

void setHostFacts(Facts& facts, const OpenedFile& file, bool hasPath)
{
    if (hasPath)
        facts.set(fact::Url, fileUri(file.path().text()));
    facts.set(fact::Size, static_cast<std::uint64_t>(file.attributes()->size));
    facts.set(fact::Modified, file.attributes()->modificationDate.microseconds);
}

} // namespace mv
