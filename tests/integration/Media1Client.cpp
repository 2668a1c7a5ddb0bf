#include "tests/integration/Media1Client.h"

#include "service/include/MediaErrors.h"

#include <gtest/gtest.h>

namespace mv::test {

namespace {

using namespace std::string_literals;

const std::string Name(Media1Service);

template <class T> std::string textOfBasic(sd_bus_message* message, char type)
{
    T value {};
    EXPECT_GT(sd_bus_message_read_basic(message, type, &value), 0);
    return std::to_string(value);
}

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "|") + text;
    return all;
}

std::string valueText(sd_bus_message* message, const std::string& signature)
{
    WireReader in(message);
    if (signature == "s")
        return in.string();
    if (signature == "as")
        return joined(in.strings());
    if (signature == "b")
        return in.boolean() ? "true" : "false";
    if (signature == "i")
        return std::to_string(in.integer());
    if (signature == "u")
        return std::to_string(in.unsignedInteger());
    if (signature == "x")
        return textOfBasic<std::int64_t>(message, 'x');
    if (signature == "t")
        return textOfBasic<std::uint64_t>(message, 't');
    if (signature == "d")
        return std::to_string(in.real());
    ADD_FAILURE() << "a fact of type " << signature;
    in.skip(signature);
    return {};
}

/// Takes a list's elements as long as there are some.
template <class Take> void readList(sd_bus_message* message, const char* contents, const Take& take)
{
    EXPECT_GT(sd_bus_message_enter_container(message, 'a', contents), 0);
    while (!sd_bus_message_at_end(message, 0))
        take();
    sd_bus_message_exit_container(message);
}

GivenPicture readPicture(sd_bus_message* message)
{
    GivenPicture picture;
    std::vector<std::string> facts;
    WireReader(message).entries([&](const std::string& key, const std::string& signature) {
        if (key == "data")
            picture.data = WireReader(message).handle();
        else
            facts.push_back(valueText(message, signature));
    });
    picture.facts = joined(facts);
    return picture;
}

FactTexts readFacts(sd_bus_message* message, Media1Answer& answer)
{
    FactTexts facts;
    WireReader(message).entries([&](const std::string& key, const std::string& signature) {
        if (key == "mivo:pictures") {
            answer.hasPictures = true;
            readList(message, "a{sv}", [&] { answer.pictures.push_back(readPicture(message)); });
        } else {
            facts[key] = signature + " " + valueText(message, signature);
        }
    });
    return facts;
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

Media1Answer Media1Client::call(const char* member, const BusClient::Encode& arguments, const Media1Options& options)
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
    std::string signature = sd_bus_message_get_signature(reply.message.get(), 1);
    if (signature.starts_with('h'))
        answer.picture = reply.reader().handle();
    if (signature == "aa{sv}")
        readList(reply.message.get(), "a{sv}", [&] { answer.files.push_back(readFacts(reply.message.get(), answer)); });
    else
        answer.files.push_back(readFacts(reply.message.get(), answer));
    return answer;
}

Media1Answer Media1Client::describe(const std::string& path, const Media1Options& options)
{
    return call(
        wire::Media1::Describe, [&](WireWriter& out) { out.string(path); }, options);
}

Media1Answer Media1Client::describeFile(int file, const std::string& name, const Media1Options& options)
{
    return call(
        wire::Media1::DescribeFile, [&](WireWriter& out) { out.handle(file).string(name); }, options);
}

Media1Answer Media1Client::describeMany(const std::vector<std::string>& paths, const Media1Options& options)
{
    return call(
        wire::Media1::DescribeMany, [&](WireWriter& out) { putPaths(out, paths); }, options);
}

Media1Answer Media1Client::thumbnail(const std::string& path, std::uint32_t size, const Media1Options& options)
{
    return call(
        wire::Media1::Thumbnail, [&](WireWriter& out) { out.string(path).unsignedInteger(size); }, options);
}

Media1Answer Media1Client::thumbnailFile(
    int file, const std::string& name, std::uint32_t size, const Media1Options& options)
{
    return call(
        wire::Media1::ThumbnailFile, [&](WireWriter& out) { out.handle(file).string(name).unsignedInteger(size); },
        options);
}

Media1Answer Media1Client::setTags(const std::string& path, const Media1Options& tags, const Media1Options& options)
{
    auto put = [&](WireWriter& out) {
        out.string(path);
        putMedia1Options(out, tags);
    };
    return call(wire::Media1::SetTags, put, options);
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
