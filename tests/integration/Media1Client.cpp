#include "tests/integration/Media1Client.h"

#include "client/MediaAnswers.h"
#include "facts/FactNames.h"
#include "service/include/MediaErrors.h"

#include <gtest/gtest.h>

namespace mv::test {

namespace {

using namespace std::string_literals;

const std::string Name(Media1Service);

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "|") + text;
    return all;
}

/// With the letters that the answer's reader has checked.
struct FactText {
    std::string operator()(const std::string& text) const { return "s " + text; }
    std::string operator()(const std::vector<std::string>& texts) const { return "as " + joined(texts); }
    std::string operator()(std::int32_t number) const { return "i " + std::to_string(number); }
    std::string operator()(std::uint32_t number) const { return "u " + std::to_string(number); }
    std::string operator()(std::int64_t number) const { return "x " + std::to_string(number); }
    std::string operator()(std::uint64_t number) const { return "t " + std::to_string(number); }
    std::string operator()(double number) const { return "d " + std::to_string(number); }
    std::string operator()(bool flag) const { return flag ? "b true" : "b false"; }
};

FactTexts textsOf(const Facts& facts)
{
    FactTexts texts;
    for (const auto& [key, value] : facts.entries())
        texts[std::string(key)] = std::visit(FactText {}, value);
    return texts;
}

FactTexts textsOf(const Result<Facts>& facts)
{
    if (facts)
        return textsOf(*facts);
    return { { "mivo:error", "s " + facts.error().name }, { "mivo:errorMessage", "s " + facts.error().text } };
}

/// Whether there is that list, be it empty, and no key that the interface does not have.
bool lookForPictures(WireReader in)
{
    bool areThere = false;
    in.entries([&](const std::string& key, const std::string& signature) {
        areThere = areThere || key == "mivo:pictures";
        EXPECT_TRUE(key == "mivo:pictures" || factRowOf(key)) << key;
        in.skip(signature);
    });
    return areThere;
}

void readDescribed(const Answer& reply, Media1Answer& answer)
{
    answer.hasPictures = lookForPictures(reply.reader());
    sd_bus_message_rewind(reply.message.get(), 1);
    WireReader in = reply.reader();
    MediaDescription description = readDescription(in);
    answer.files.push_back(textsOf(description.facts));
    for (MediaPicture& picture : description.pictures) {
        answer.pictures.push_back({ joined({ std::to_string(picture.type), picture.mimeType, picture.description }),
            std::move(picture.data) });
    }
}

void readMany(const Answer& reply, std::size_t paths, Media1Answer& answer)
{
    WireReader in = reply.reader();
    for (const auto& file : readDescriptions(in, paths))
        answer.files.push_back(textsOf(file));
}

void readPicture(const Answer& reply, Media1Answer& answer)
{
    WireReader in = reply.reader();
    MediaThumbnail thumbnail = readThumbnail(in);
    answer.picture = std::move(thumbnail.picture);
    answer.files.push_back({ { "mivo:width", "u " + std::to_string(thumbnail.width) },
        { "mivo:height", "u " + std::to_string(thumbnail.height) }, { "mivo:mimeType", "s " + thumbnail.mimeType } });
}

void putPaths(WireWriter& out, const std::vector<std::string>& paths)
{
    out.list("s", [&] {
        for (const std::string& path : paths)
            out.string(path);
    });
}

} // namespace

std::string Media1Answer::fact(const std::string& key, std::size_t file) const
{
    auto found = files.at(file).find(key);
    return found == files[file].end() ? "" : found->second;
}

Media1Option flagOption(std::string key, bool value)
{
    return { std::move(key), "b", [value](WireWriter& out) { out.boolean(value); } };
}

Media1Option textsOption(std::string key, std::vector<std::string> values)
{
    return { std::move(key), "as", [values = std::move(values)](WireWriter& out) { putPaths(out, values); } };
}

Media1Option numberOption(std::string key, std::int32_t value)
{
    return { std::move(key), "i", [value](WireWriter& out) { out.integer(value); } };
}

Media1Option noneOption(std::string key)
{
    return { std::move(key), "g", [](WireWriter& out) { out.nullObject(); } };
}

Media1Option textOption(std::string key, std::string value)
{
    return { std::move(key), "s", [value](WireWriter& out) { out.string(value); } };
}

void putMedia1Options(WireWriter& out, const Media1Options& options)
{
    out.list("{sv}", [&] {
        for (const Media1Option& option : options)
            out.entry(option.key, option.signature, [&] { option.put(out); });
    });
}

Media1Answer Media1Client::call(
    const char* member, const BusClient::Encode& arguments, const Media1Options& options, const Read& read)
{
    Answer reply = m_client.call(Name, Media1Path, wire::Media1::Interface, member, [&](WireWriter& out) {
        arguments(out);
        putMedia1Options(out, options);
    });
    Media1Answer answer;
    answer.error
        = reply.error.starts_with(MediaErrorPrefix) ? reply.error.substr(MediaErrorPrefix.size()) : reply.error;
    answer.text = reply.text;
    if (!reply.ok())
        return answer;
    if (auto taken = mediaResultOf([&] { return read(reply, answer), true; }); !taken)
        ADD_FAILURE() << member << ": " << taken.error().text;
    return answer;
}

Media1Answer Media1Client::describe(const std::string& path, const Media1Options& options)
{
    return call(
        wire::Media1::Describe, [&](WireWriter& out) { out.string(path); }, options, readDescribed);
}

Media1Answer Media1Client::describeFile(int file, const std::string& name, const Media1Options& options)
{
    return call(
        wire::Media1::DescribeFile, [&](WireWriter& out) { out.handle(file).string(name); }, options, readDescribed);
}

Media1Answer Media1Client::describeMany(const std::vector<std::string>& paths, const Media1Options& options)
{
    return call(
        wire::Media1::DescribeMany, [&](WireWriter& out) { putPaths(out, paths); }, options,
        [&](const Answer& reply, Media1Answer& answer) { readMany(reply, paths.size(), answer); });
}

Media1Answer Media1Client::thumbnail(const std::string& path, std::uint32_t size, const Media1Options& options)
{
    return call(
        wire::Media1::Thumbnail, [&](WireWriter& out) { out.string(path).unsignedInteger(size); }, options,
        readPicture);
}

Media1Answer Media1Client::thumbnailFile(
    int file, const std::string& name, std::uint32_t size, const Media1Options& options)
{
    return call(
        wire::Media1::ThumbnailFile, [&](WireWriter& out) { out.handle(file).string(name).unsignedInteger(size); },
        options, readPicture);
}

Media1Answer Media1Client::setTags(const std::string& path, const Media1Options& tags, const Media1Options& options)
{
    auto put = [&](WireWriter& out) {
        out.string(path);
        putMedia1Options(out, tags);
    };
    return call(wire::Media1::SetTags, put, options, readDescribed);
}

void Media1Client::send(BusClient& client, const std::vector<std::string>& paths)
{
    sd_bus_message* made = nullptr;
    ASSERT_GE(sd_bus_message_new_method_call(
                  client.bus(), &made, Name.c_str(), Media1Path, wire::Media1::Interface, wire::Media1::DescribeMany),
        0);
    BusMessage message(made);
    WireWriter out(made);
    putPaths(out, paths);
    putMedia1Options(out, {});
    auto ignored = [](sd_bus_message*, void*, sd_bus_error*) { return 0; };
    ASSERT_GE(sd_bus_call_async(client.bus(), nullptr, made, ignored, nullptr, 0), 0);
    ASSERT_GE(sd_bus_flush(client.bus()), 0);
}

} // namespace mv::test
