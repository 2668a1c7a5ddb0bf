#include "client/ImageClient.h"

#include "service/include/WireNames.h"

namespace mv {

namespace {

double realOf(const Record& record, std::string_view key)
{
    const Value* value = record.find(key);
    return value && value->real() ? *value->real() : 0;
}

} // namespace

Result<std::optional<ImageClient::Thumbnail>> ImageClient::makeThumbnail(const Path& path, FloatSize maximum)
{
    std::optional<Record> answer;
    MV_TRY_VOID(m_bus.call(
        { ImageParserService, wire::ImageInfoBuilder::Interface, wire::ImageInfoBuilder::makeThumbnailWithMaxSize },
        [&](WireWriter& to) {
            to.string(path.text());
            to.realPair(maximum.width, maximum.height);
        },
        [&](WireReader& from) { answer = from.optionalRecord(); }));
    if (!answer)
        return std::optional<Thumbnail>();
    const Bytes* data = answer->data(kThumbnailData);
    if (!data)
        return Error { Error::Kind::Format, "the answer has no picture" };
    return std::optional(Thumbnail { *data, realOf(*answer, kThumbnailWidth), realOf(*answer, kThumbnailHeight) });
}

} // namespace mv
