#include "cli/Command.h"
#include "cli/Interruption.h"
#include "cli/Output.h"

int main(int count, char** words)
{
    using namespace mv::cli;
    prepareStandardStreams();
    watchInterruptions();
    // Without even its own name there are no words.
    std::vector<std::string> given(words + (count > 0 ? 1 : 0), words + count);
    return static_cast<int>(closeOutput(runTool(given)));
}
