// Messages of any form, as answers of Mivo.Media1 and as changes of its jobs: they are read, or are an error.
#include "bus/BusError.h"
#include "client/MediaAnswers.h"
#include "client/MediaJobs.h"

#include <array>
#include <cstdlib>
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace mv;

namespace {

/// Messages need a bus to belong to; nobody is at its other end.
sd_bus* bus()
{
    static sd_bus* const made = [] {
        int ends[2];
        sd_bus* one = nullptr;
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0 || sd_bus_new(&one) < 0
            || sd_bus_set_fd(one, ends[0], ends[0]) < 0 || sd_bus_start(one) < 0)
            std::abort();
        return one;
    }();
    return made;
}

/// Puts what the data says into a message, as far as the bus library lets it.
class Maker {
public:
    Maker(FuzzedDataProvider& data, sd_bus_message* message)
        : m_data(data)
        , m_message(message)
    {
    }

    /// A list of facts, or a list of lists, or anything.
    void make()
    {
        switch (m_data.ConsumeIntegralInRange(0, 3)) {
        case 0:
            return dictionary(0);
        case 1:
            return dictionaries(0);
        case 2:
            basic('h');
            return dictionary(0);
        default:
            basic(anyType());
        }
    }

private:
    static constexpr int MaxDepth = 3;
    static constexpr std::array OwnKeys { "mivo:pictures", "mivo:error", "mivo:errorMessage", "type", "mimeType",
        "description", "data", "State", "Progress", "Error" };

    char anyType() { return m_data.PickValueInArray({ 's', 'b', 'i', 'u', 'x', 't', 'd', 'g', 'o', 'h', 'y' }); }

    std::string text()
    {
        if (m_data.ConsumeBool())
            return "Mivo.Media1.Error.NotMedia";
        std::string given = m_data.ConsumeRandomLengthString(8);
        return isWireText(given) ? given : "text";
    }

    std::string key()
    {
        std::size_t row = m_data.ConsumeIntegralInRange<std::size_t>(0, FactRows.size() + OwnKeys.size());
        if (row < FactRows.size())
            return std::string(FactRows[row].key);
        row -= FactRows.size();
        return row < OwnKeys.size() ? OwnKeys[row] : text();
    }

    void basic(char type)
    {
        std::uint64_t number = m_data.ConsumeIntegral<std::uint64_t>();
        int small = type == 'h' ? STDERR_FILENO : static_cast<int>(number & 1);
        std::string words = type == 'o' ? "/" : type == 'g' ? m_data.PickValueInArray({ "", "s", "a{sv}" }) : text();
        bool isText = type == 's' || type == 'o' || type == 'g';
        bool isSmall = type == 'h' || type == 'b';
        const void* value = isText ? static_cast<const void*>(words.c_str())
            : isSmall              ? static_cast<const void*>(&small)
                                   : &number;
        sd_bus_message_append_basic(m_message, type, value);
    }

    template <class Fill> void within(char type, const std::string& contents, const Fill& fill)
    {
        if (sd_bus_message_open_container(m_message, type, contents.c_str()) < 0)
            return;
        fill();
        sd_bus_message_close_container(m_message);
    }

    void dictionary(int depth)
    {
        within('a', "{sv}", [&] {
            while (m_data.remaining_bytes() > 0 && m_data.ConsumeBool())
                within('e', "sv", [&] {
                    sd_bus_message_append_basic(m_message, 's', key().c_str());
                    variant(depth + 1);
                });
        });
    }

    void dictionaries(int depth)
    {
        within('a', "a{sv}", [&] {
            while (m_data.remaining_bytes() > 0 && m_data.ConsumeBool())
                dictionary(depth + 1);
        });
    }

    void variant(int depth)
    {
        switch (depth < MaxDepth ? m_data.ConsumeIntegralInRange(0, 5) : 0) {
        case 1:
            return within('v', "as", [&] {
                within('a', "s", [&] {
                    while (m_data.remaining_bytes() > 0 && m_data.ConsumeBool())
                        basic('s');
                });
            });
        case 2:
            return within('v', "aa{sv}", [&] { dictionaries(depth); });
        case 3:
            return within('v', "(ss)", [&] {
                within('r', "ss", [&] {
                    basic('s');
                    basic('s');
                });
            });
        case 4:
            return within('v', "v", [&] { variant(depth + 1); });
        default:
            char type = anyType();
            within('v', std::string(1, type), [&] { basic(type); });
        }
    }

    FuzzedDataProvider& m_data;
    sd_bus_message* m_message;
};

template <class Read> void read(sd_bus_message* message, const Read& read)
{
    sd_bus_message_rewind(message, 1);
    try {
        WireReader in(message);
        read(in);
    } catch (const BusError&) {
    }
}

void demand(bool isSo)
{
    if (!isSo)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    FuzzedDataProvider data(bytes, size);
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_signal(bus(), &made, "/", "Mivo.Fuzz", "fuzz") < 0)
        std::abort();
    BusMessage message(made);
    std::size_t paths = data.ConsumeIntegralInRange<std::size_t>(0, 3);
    Maker(data, made).make();
    if (sd_bus_message_seal(made, 1, 0) < 0)
        return 0;
    read(made, [](WireReader& in) {
        MediaDescription description = readDescription(in);
        demand(description.pictures.size() <= MaxFactPictures);
        for (const MediaPicture& picture : description.pictures)
            demand(picture.data.get() >= 0);
    });
    read(made, [&](WireReader& in) { demand(readDescriptions(in, paths).size() == paths); });
    read(made, [](WireReader& in) { demand(readThumbnail(in).picture.get() >= 0); });
    read(made, [](WireReader& in) {
        Facts facts = readFacts(in);
        for (const auto& [key, value] : facts.entries())
            demand(FactRows[*factRowOf(key)].type == typeOf(value));
    });
    read(made, [](WireReader& in) { readJobPlace(in); });
    read(made, [](WireReader& in) {
        MediaJobStatus status;
        status.take(in);
        demand(status.progress >= 0 && status.progress <= 1);
        demand(status.error.has_value()
            == (status.state == MediaJob::State::Failed || status.state == MediaJob::State::Cancelled));
    });
    return 0;
}
