#include "service/job/MediaJob.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "service/job/FactsCode.h"

#include <utility>

namespace mv {

namespace {

constexpr std::size_t MaxNameBytes = 4096;

// The kinds of results, as their first byte.
constexpr std::uint8_t SomeFacts = 1;
constexpr std::uint8_t SomeThumbnail = 2;
constexpr std::uint8_t SomeProblem = 3;

Error wrong(const char* what) { return { Error::Kind::Format, formatText("a media job with %s", what) }; }

void encodeFile(const OpenedFile& file, ByteWriter& out)
{
    std::string_view name = file.path().lastPathComponent();
    name = name.substr(0, MaxNameBytes);
    out.u32be(static_cast<std::uint32_t>(name.size()));
    out.text(name);
    out.u64be(file.content() ? (*file.content())->size() : 0);
}

Result<OpenedFile> decodeFile(ByteReader& in, UniqueFd content)
{
    std::string name(charsOf(in.take(in.u32be())));
    std::uint64_t size = in.u64be();
    if (in.failed() || name.size() > MaxNameBytes || size > INT64_MAX)
        return wrong("a file cut off");
    FileAttributes attributes;
    attributes.size = static_cast<std::int64_t>(size);
    attributes.isRegularFile = true;
    SharedSource source = std::make_shared<const InputFile>(InputFile::adopt(std::move(content), size));
    return OpenedFile(name.empty() ? Path() : Path(std::move(name)), attributes, std::move(source));
}

template <class Enum> std::optional<Enum> enumOf(std::uint8_t number, Enum last)
{
    bool isOne = number >= 1 && number <= static_cast<std::uint8_t>(last);
    return isOne ? std::optional(static_cast<Enum>(number)) : std::nullopt;
}

class ResultEncoder {
public:
    explicit ResultEncoder(Bytes& out)
        : m_out(out)
    {
    }
    void operator()(MediaProblem problem)
    {
        m_out.push_back(SomeProblem);
        m_out.push_back(static_cast<std::uint8_t>(problem));
    }
    void operator()(const Facts& facts)
    {
        m_out.push_back(SomeFacts);
        encodeFacts(facts, m_out);
    }
    void operator()(const Thumbnail& thumbnail)
    {
        m_out.push_back(SomeThumbnail);
        ByteWriter out(m_out);
        out.u32be(thumbnail.width);
        out.u32be(thumbnail.height);
        out.bytes(thumbnail.data);
    }

private:
    Bytes& m_out;
};

/// What each format begins with.
bool beginsLike(ThumbnailFormat format, ByteView data)
{
    constexpr std::string_view Png = "\x89PNG\r\n\x1a\n";
    constexpr std::string_view Jpeg = "\xff\xd8\xff";
    return format == ThumbnailFormat::Rgba || charsOf(data).starts_with(format == ThumbnailFormat::Png ? Png : Jpeg);
}

Result<MediaResult> thumbnailOf(const ThumbnailWish& wish, ByteView bytes)
{
    ByteReader in(bytes);
    Thumbnail thumbnail { in.u32be(), in.u32be(), {} };
    ByteView data = in.rest();
    bool fits = !in.failed() && thumbnail.width >= 1 && thumbnail.width <= wish.size && thumbnail.height >= 1
        && thumbnail.height <= wish.size;
    std::size_t pixelBytes = std::size_t { 4 } * thumbnail.width * thumbnail.height;
    if (!fits || !beginsLike(wish.format, data) || (wish.format == ThumbnailFormat::Rgba && data.size() != pixelBytes))
        return wrong("a thumbnail that nobody asked for");
    thumbnail.data.assign(data.begin(), data.end());
    return MediaResult(std::move(thumbnail));
}

Result<MediaResult> factsOf(MediaOperation operation, ByteView bytes)
{
    MV_TRY(facts, decodeFacts(bytes));
    if (operation != MediaOperation::DescribeWithPictures && !facts.pictures.empty())
        return wrong("pictures that nobody asked for");
    return MediaResult(std::move(facts));
}

Result<MediaResult> problemOf(ByteView bytes)
{
    auto problem = bytes.size() == 1 ? enumOf(bytes[0], LastMediaProblem) : std::nullopt;
    return problem ? Result<MediaResult>(*problem) : wrong("a problem of no kind");
}

Result<MediaResult> decodeResult(const MediaJob& job, ByteView bytes)
{
    std::uint8_t kind = bytes.empty() ? 0 : bytes[0];
    bool isThumbnail = job.operation == MediaOperation::Thumbnail;
    if (kind == SomeProblem)
        return problemOf(bytes.subspan(1));
    if (kind == SomeThumbnail && isThumbnail)
        return thumbnailOf(job.thumbnail, bytes.subspan(1));
    if (kind == SomeFacts && !isThumbnail)
        return factsOf(job.operation, bytes.subspan(1));
    return wrong("an answer to another question");
}

} // namespace

Bytes encodeMediaJob(const MediaJob& job)
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.u8(static_cast<std::uint8_t>(job.operation));
    out.u32be(static_cast<std::uint32_t>(job.debugLevel));
    out.u32be(job.thumbnail.size);
    out.u8(job.thumbnail.upright ? 1 : 0);
    out.u8(static_cast<std::uint8_t>(job.thumbnail.format));
    out.u8(static_cast<std::uint8_t>(job.files.size()));
    for (const OpenedFile& file : job.files)
        encodeFile(file, out);
    return bytes;
}

Result<MediaJob> decodeMediaJob(ByteView bytes, std::vector<UniqueFd> contents)
{
    ByteReader in(bytes);
    auto operation = enumOf(in.u8(), MediaOperation::Thumbnail);
    auto debugLevel = static_cast<std::int32_t>(in.u32be());
    ThumbnailWish wish { in.u32be(), in.u8() == 1, ThumbnailFormat::Png };
    auto format = enumOf(in.u8(), LastThumbnailFormat);
    std::size_t count = in.u8();
    if (in.failed() || !operation || !format || wish.size < 1 || wish.size > MaxThumbnailSize)
        return wrong("no operation");
    if (count < 1 || count != contents.size())
        return wrong("another number of files");
    wish.format = *format;
    MediaJob job { *operation, debugLevel, wish, {} };
    for (UniqueFd& content : contents) {
        MV_TRY(file, decodeFile(in, std::move(content)));
        job.files.push_back(std::move(file));
    }
    return in.atEnd() ? Result<MediaJob>(std::move(job)) : wrong("more than files");
}

Bytes encodeMediaResults(const std::vector<MediaResult>& results)
{
    Bytes bytes;
    ByteWriter out(bytes);
    Bytes one;
    for (const MediaResult& result : results) {
        one.clear();
        std::visit(ResultEncoder(one), result);
        out.u32be(static_cast<std::uint32_t>(one.size()));
        out.bytes(one);
    }
    return bytes;
}

Result<std::vector<MediaResult>> decodeMediaResults(const MediaJob& job, ByteView bytes)
{
    ByteReader in(bytes);
    std::vector<MediaResult> results;
    results.reserve(job.files.size());
    while (results.size() < job.files.size()) {
        ByteView one = in.take(in.u32be());
        if (in.failed())
            return wrong("fewer results than files");
        MV_TRY(result, decodeResult(job, one));
        results.push_back(std::move(result));
    }
    return in.atEnd() ? Result<std::vector<MediaResult>>(std::move(results)) : wrong("more results than files");
}

} // namespace mv
