#pragma once

#include "bus/Wire.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"
#include "tests/support/BusClient.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace mv::test {

/// Facts as text: their signature, a blank, and the value; lists with bars between.
using FactTexts = std::map<std::string, std::string>;

/// A picture of an answer.
struct GivenPicture {
    std::string facts; ///< type, mimeType and description, with bars between
    UniqueFd data;
};

/// What a call of Mivo.Media1 gave.
struct Media1Answer {
    std::string error; ///< without the prefix of the interface
    std::string text;
    std::vector<FactTexts> files; ///< one, but for DescribeMany
    UniqueFd picture; ///< of a thumbnail
    bool hasPictures = false;
    std::vector<GivenPicture> pictures;

    bool ok() const { return error.empty(); }
    /// "" where it is not there.
    std::string fact(const std::string& key, std::size_t file = 0) const;
};

/// An entry of a call's options.
struct Media1Option {
    std::string key;
    const char* signature;
    std::function<void(WireWriter&)> put;
};
using Media1Options = std::vector<Media1Option>;
Media1Option flagOption(std::string key, bool value);
Media1Option textOption(std::string key, std::string value);
Media1Option textsOption(std::string key, std::vector<std::string> values);
Media1Option numberOption(std::string key, std::int32_t value);
/// The null object.
Media1Option noneOption(std::string key);
void putMedia1Options(WireWriter& out, const Media1Options& options);

/// The calls of Mivo.Media1, each by a connection of the caller's, wrong ones too. Answers are read as programs read
/// them.
class Media1Client {
public:
    explicit Media1Client(BusClient& client)
        : m_client(client)
    {
    }

    Media1Answer describe(const std::string& path, const Media1Options& options = {});
    Media1Answer describeFile(int file, const std::string& name, const Media1Options& options = {});
    Media1Answer describeMany(const std::vector<std::string>& paths, const Media1Options& options = {});
    Media1Answer thumbnail(const std::string& path, std::uint32_t size, const Media1Options& options = {});
    Media1Answer thumbnailFile(
        int file, const std::string& name, std::uint32_t size, const Media1Options& options = {});
    /// `tags` in the manner of options.
    Media1Answer setTags(const std::string& path, const Media1Options& tags, const Media1Options& options = {});

    /// Sends a description's call without waiting for its answer.
    static void send(BusClient& client, const std::vector<std::string>& paths);

private:
    using Read = std::function<void(const Answer& reply, Media1Answer& answer)>;

    Media1Answer call(
        const char* member, const BusClient::Encode& arguments, const Media1Options& options, const Read& read);

    BusClient& m_client;
};

} // namespace mv::test
