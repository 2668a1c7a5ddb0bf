#pragma once

#include "Base/Core/OSStatus.h"
#include "service/isolated/WritingBroker.h"
#include "tests/service/isolated/NotingDelegates.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <set>
#include <sys/socket.h>
#include <thread>

namespace mv::test {

struct Sent {
    Message kind;
    Bytes payload;
};

inline Sent request(RequestKind kind, std::int32_t number = 0, float percent = 0)
{
    return { Message::Request, encodeRequest({ kind, number, percent }) };
}
inline Sent answer(const WritingAnswer& given) { return { Message::Answer, encodeWritingAnswer(given) }; }
inline Sent content(const FileContent& planned)
{
    Bytes message;
    EXPECT_TRUE(encodePlan(std::optional(planned), [&](ByteView part) {
        message.assign(part.begin(), part.end());
        return Result<void> {};
    }).ok());
    return { Message::Content, message };
}
inline Sent verdict(const Result<void>& given = {}) { return { Message::Verdict, encodeVerdict(given) }; }

/// The host with a worker that says what a script says.
class HostileWorkerTest : public testing::Test {
protected:
    using Script = std::vector<Sent>;

    /// The host's loop over all that the worker sends, which then closes its end.
    Result<WritingAnswer> talk(WritingOperation operation, const Script& script)
    {
        auto ends = std::move(*Channel::makeEnds());
        Channel channel(std::move(ends.first));
        auto await = [&channel]() -> Result<Frame> {
            MV_TRY(frame, channel.receive(Channel::Clock::now() + std::chrono::seconds(60)));
            if (!frame)
                return Error { Error::Kind::State, "gone" };
            return std::move(*frame);
        };
        auto file = EditableFile::at(input);
        auto place = OutputPlace::at(output);
        bool isTag = changesItsFile(operation);
        WritingBroker broker(channel, { .operation = operation, .file = file->opened() },
            { .file = isTag ? file.get() : nullptr,
                .place = isTag ? nullptr : place.get(),
                .listener = operation == WritingOperation::EncodeMp3 ? told : nullptr,
                .delegate = hasDelegate && !isTag ? &delegate : nullptr },
            await);
        EXPECT_TRUE(broker.start().ok());
        Channel worker(std::move(ends.second));
        std::thread speaker([&] {
            for (const Sent& sent : script)
                static_cast<void>(worker.send(kindOf(sent.kind), sent.payload));
            shutdown(worker.socket(), SHUT_WR);
        });
        auto outcome = [&]() -> Result<WritingAnswer> {
            while (true) {
                MV_TRY(frame, await());
                MV_TRY(given, broker.serve(frame));
                if (given)
                    return std::move(*given);
            }
        }();
        speaker.join();
        hasServed = broker.hasServed();
        if (!outcome.ok())
            afterDeath = broker.answerOfDeath();
        return outcome;
    }
    /// The script ends with what is refused: all before it was served.
    void expectRefusal(WritingOperation operation, const Script& script, const std::string& where)
    {
        auto outcome = talk(operation, script);
        ASSERT_FALSE(outcome.ok()) << where;
        EXPECT_EQ(outcome.error().kind, Error::Kind::Format) << where << ": " << outcome.error().text;
    }
    /// All is served, and then the worker is gone.
    void expectService(WritingOperation operation, const Script& script, const std::string& where)
    {
        auto outcome = talk(operation, script);
        ASSERT_FALSE(outcome.ok()) << where;
        EXPECT_EQ(outcome.error().text, "gone") << where;
    }

    std::set<std::string> names() const
    {
        std::set<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(scratch.path()))
            found.insert(entry.path().filename());
        return found;
    }
    std::string text(const std::string& path) const { return std::string(charsOf(readFile(path))); }

    ScratchFolder scratch;
    LogCapture log;
    std::string input = scratch.write("in", "0123456789");
    std::string output = scratch.file("out");
    NotingListener listener;
    EncodingListener* told = &listener; ///< or whoever listens in its place
    NotingDelegate delegate;
    bool hasDelegate = true;
    bool hasServed = false;
    WritingAnswer afterDeath;
};

} // namespace mv::test
