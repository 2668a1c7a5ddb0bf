#include "cli/Command.h"

#include <csignal>

int main(int count, char** words)
{
    // A closed pipe behind the output is an ordinary end of it.
    std::signal(SIGPIPE, SIG_DFL);
    return mv::cli::runTool({ words + 1, words + count });
}
