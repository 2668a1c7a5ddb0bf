#include "service/isolated/WritingTalk.h"

namespace mv {

AwaitFrame within(WaitBudget& budget, JobTalk& talk)
{
    return [&budget, &talk] {
        auto begin = Channel::Clock::now();
        auto frame = talk.awaitFrame(budget.endFrom(begin));
        budget.spend(begin, Channel::Clock::now());
        return frame;
    };
}

Result<std::optional<WritingAnswer>> serveToTheEnd(JobTalk& talk, WritingBroker& broker, const AwaitFrame& await)
{
    MV_TRY_VOID(broker.start());
    while (true) {
        MV_TRY(frame, await());
        if (frame.kind == kindOf(Message::NeedsMedia) && !broker.hasServed())
            return std::optional<WritingAnswer> {};
        MV_TRY(answer, broker.serve(frame));
        if (answer)
            return answer;
        if (broker.hasServed())
            talk.writeLog();
    }
}

} // namespace mv
