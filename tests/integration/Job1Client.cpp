#include "tests/integration/Job1Client.h"

#include "service/include/MediaErrors.h"
#include "tests/support/WaveMaker.h"

#include <gtest/gtest.h>

namespace mv::test {

namespace {

const std::string Name(Media1Service);

std::string withoutPrefix(const std::string& error)
{
    return error.starts_with(MediaErrorPrefix) ? error.substr(MediaErrorPrefix.size()) : error;
}

void readProperties(sd_bus_message* message, JobStatus& status)
{
    WireReader in(message);
    in.entries([&](const std::string& key, const std::string& signature) {
        if (key == "Progress" && signature == "d")
            status.progress = in.real();
        else if (key == "Error" && signature == "(ss)")
            std::tie(status.error, status.text) = in.stringPair();
        else if (signature == "s")
            (key == "State" ? status.state : key == "Source" ? status.source : status.destination) = in.string();
        else
            ADD_FAILURE() << key << " of type " << signature;
    });
    status.error = withoutPrefix(status.error);
}

} // namespace

Job1Client::Job1Client(BusClient& client)
    : m_client(client)
{
    sd_bus_slot* slot = nullptr;
    EXPECT_GE(sd_bus_add_match(client.bus(), &slot,
                  "type='signal',interface='org.freedesktop.DBus.Properties',member='PropertiesChanged',"
                  "path_namespace='/Mivo/Media1/jobs'",
                  noteChange, this),
        0);
    m_match.reset(slot);
}

int Job1Client::noteChange(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    JobChange change { sd_bus_message_get_path(message), {}, std::chrono::steady_clock::now() };
    WireReader in(message);
    EXPECT_EQ(in.string(), wire::Job1::Interface);
    in.entries([&](const std::string& key, const std::string& signature) {
        change.names.push_back(key);
        in.skip(signature);
    });
    static_cast<Job1Client*>(userdata)->m_changes.push_back(std::move(change));
    return 0;
}

Answer Job1Client::encode(const std::string& source, const std::string& destination, const Media1Options& options)
{
    Answer answer
        = m_client.call(Name, Media1Path, wire::Media1::Interface, wire::Media1::Encode, [&](WireWriter& out) {
              out.string(source).string(destination);
              putMedia1Options(out, options);
          });
    answer.error = withoutPrefix(answer.error);
    return answer;
}

std::string Job1Client::begin(const std::string& source, const std::string& destination, const Media1Options& options)
{
    Answer answer = encode(source, destination, options);
    EXPECT_TRUE(answer.ok()) << answer.error << ": " << answer.text;
    return answer.ok() ? answer.reader().objectPath() : "/none";
}

JobStatus Job1Client::status(const std::string& job)
{
    Answer answer = m_client.call(Name, job, "org.freedesktop.DBus.Properties", "GetAll",
        [](WireWriter& out) { out.string(wire::Job1::Interface); });
    JobStatus status;
    if (answer.ok())
        readProperties(answer.message.get(), status);
    return status;
}

JobStatus Job1Client::awaitEnd(const std::string& job)
{
    JobStatus last;
    EXPECT_TRUE(eventually([&] {
        last = status(job);
        return last.state != "running";
    }));
    return last;
}

Answer Job1Client::cancel(const std::string& job)
{
    return m_client.call(Name, job, wire::Job1::Interface, wire::Job1::Cancel);
}

Answer Job1Client::release(const std::string& job)
{
    return m_client.call(Name, job, wire::Job1::Interface, wire::Job1::Release);
}

const std::vector<JobChange>& Job1Client::changes()
{
    m_client.serveWhatCame();
    return m_changes;
}

std::string waveFile(double seconds)
{
    WaveMaker wave;
    wave.format(1, 2, 44'100, 16).sound(static_cast<std::size_t>(seconds * 44'100) * 4);
    return std::string(charsOf(wave.bytes()));
}

Media1Option countOption(std::string key, std::uint32_t value)
{
    return { std::move(key), "u", [value](WireWriter& out) { out.unsignedInteger(value); } };
}

} // namespace mv::test
