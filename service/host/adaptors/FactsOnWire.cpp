#include "service/host/adaptors/FactsOnWire.h"

#include "bus/BusError.h"
#include "system/SealedFile.h"

#include <array>
#include <memory>
#include <utility>

namespace mv {

namespace {

constexpr const char* signatureOf(FactType type)
{
    constexpr std::array Signatures { "s", "as", "i", "u", "x", "t", "d", "b" };
    return Signatures[static_cast<std::size_t>(type)];
}

class ValueWriter {
public:
    explicit ValueWriter(WireWriter& out)
        : m_out(out)
    {
    }
    void operator()(const std::string& text) { m_out.string(text); }
    void operator()(const std::vector<std::string>& texts)
    {
        m_out.list("s", [&] {
            for (const std::string& text : texts)
                m_out.string(text);
        });
    }
    void operator()(std::int32_t number) { m_out.integer(number); }
    void operator()(std::uint32_t number) { m_out.unsignedInteger(number); }
    void operator()(std::int64_t number) { m_out.longInteger(number); }
    void operator()(std::uint64_t number) { m_out.unsignedLongInteger(number); }
    void operator()(double number) { m_out.real(number); }
    void operator()(bool flag) { m_out.boolean(flag); }

private:
    WireWriter& m_out;
};

void writeText(WireWriter& out, std::string_view key, std::string_view text)
{
    out.entry(key, "s", [&] { out.string(text); });
}

void writeNumber(WireWriter& out, std::string_view key, std::uint32_t number)
{
    out.entry(key, "u", [&] { out.unsignedInteger(number); });
}

void writeEntries(WireWriter& out, const Facts& facts)
{
    for (const auto& [key, value] : facts.entries())
        out.entry(key, signatureOf(typeOf(value)), [&out, &value = value] { std::visit(ValueWriter(out), value); });
}

void writeError(WireWriter& out, const MediaError& error)
{
    writeText(out, "mivo:error", wholeNameOf(error));
    writeText(out, "mivo:errorMessage", error.text());
}

/// A picture's bytes as a file, or why there is none.
using PictureFile = Result<UniqueFd>;

void writeFile(WireWriter& out, const PictureFile& file)
{
    if (!file)
        throw BusError(BusErrorLimitsExceeded, "there is no room for a picture: " + file.error().text);
    out.handle(file->get());
}

void writePicture(WireWriter& out, const FactPicture& picture, const PictureFile& file)
{
    out.list("{sv}", [&] {
        writeNumber(out, "type", picture.type);
        writeText(out, "mimeType", picture.mimeType);
        writeText(out, "description", picture.description);
        out.entry("data", "h", [&] { writeFile(out, file); });
    });
}

void writePictures(WireWriter& out, const std::vector<FactPicture>& pictures, const std::vector<PictureFile>& files)
{
    out.entry("mivo:pictures", "aa{sv}", [&] {
        out.list("a{sv}", [&] {
            for (std::size_t i = 0; i < pictures.size(); ++i)
                writePicture(out, pictures[i], files[i]);
        });
    });
}

constexpr const char* mimeTypeOf(ThumbnailFormat format)
{
    constexpr std::array Types { "image/png", "image/jpeg", "image/x-rgba" };
    return Types[static_cast<std::size_t>(format) - 1];
}

} // namespace

std::string wholeNameOf(const MediaError& error) { return std::string(MediaErrorPrefix).append(nameOf(error.kind())); }

void raiseOnWire(const MediaError& error) { throw BusError(wholeNameOf(error), error.text()); }

PackAnswer packFacts(MediaService::FactsOrError answer, bool withPictures)
{
    // What packs an answer is copied on its way. The serving thread is not kept by the writing of pictures.
    auto shared = std::make_shared<MediaService::FactsOrError>(std::move(answer));
    auto files = std::make_shared<std::vector<PictureFile>>();
    if (auto* facts = std::get_if<Facts>(&*shared)) {
        for (FactPicture& picture : facts->pictures)
            files->push_back(sealedFile(std::exchange(picture.data, {})));
    }
    return [shared, files, withPictures](WireWriter& out) {
        if (const auto* error = std::get_if<MediaError>(&*shared))
            raiseOnWire(*error);
        const Facts& facts = std::get<Facts>(*shared);
        out.list("{sv}", [&] {
            writeEntries(out, facts);
            if (withPictures)
                writePictures(out, facts.pictures, *files);
        });
    };
}

PackAnswer packManyFacts(MediaService::Answer<std::vector<MediaService::FactsOrError>> answer)
{
    auto shared = std::make_shared<decltype(answer)>(std::move(answer));
    return [shared](WireWriter& out) {
        if (const auto* error = std::get_if<MediaError>(&*shared))
            raiseOnWire(*error);
        out.list("a{sv}", [&] {
            for (const auto& file : std::get<0>(*shared)) {
                out.list("{sv}", [&] {
                    if (const auto* error = std::get_if<MediaError>(&file))
                        writeError(out, *error);
                    else
                        writeEntries(out, std::get<Facts>(file));
                });
            }
        });
    };
}

PackAnswer packThumbnail(MediaService::Answer<Thumbnail> answer, ThumbnailFormat format)
{
    if (const auto* error = std::get_if<MediaError>(&answer))
        return [error = *error](WireWriter&) { raiseOnWire(error); };
    const auto& picture = std::get<Thumbnail>(answer);
    auto file = std::make_shared<const PictureFile>(sealedFile(picture.data));
    return [file, width = picture.width, height = picture.height, format](WireWriter& out) {
        writeFile(out, *file);
        out.list("{sv}", [&] {
            writeNumber(out, fact::Width, width);
            writeNumber(out, fact::Height, height);
            writeText(out, fact::MimeType, mimeTypeOf(format));
        });
    };
}

} // namespace mv
