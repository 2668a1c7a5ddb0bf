#include "service/job/RaisedException.h"

#include "Base/Core/NSException.h"
#include "Base/Core/Text.h"
#include "service/job/RecordCode.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

constexpr std::string_view ExceptionName = "name";
constexpr std::string_view ExceptionReason = "reason";

constexpr std::array<std::string_view, 4> RaisedNames { "", NSInvalidArgumentException,
    NSInternalInconsistencyException, NSGenericException };

} // namespace

void encodeRaised(const RaisedException& raised, Bytes& out)
{
    encodeRecord({ { ExceptionName, raised.name }, { ExceptionReason, cleanedUtf8(raised.reason) } }, out);
}

Result<RaisedException> decodeRaised(ByteView bytes)
{
    MV_TRY(record, decodeRecord(bytes));
    const std::string* name = record.string(ExceptionName);
    const std::string* reason = record.string(ExceptionReason);
    if (!name || !reason || std::find(RaisedNames.begin(), RaisedNames.end(), *name) == RaisedNames.end())
        return Error { Error::Kind::Format, "a job with an exception that nothing raises" };
    return RaisedException { *name, *reason };
}

} // namespace mv
