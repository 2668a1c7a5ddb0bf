#include "cli/ProgressCount.h"

#include "Base/Core/Text.h"
#include "cli/Output.h"
#include "cli/Terminal.h"

namespace mv::cli {

void ProgressCount::show(std::size_t done) const
{
    if (errorTakesDrawing())
        printToError(formatText("\r%zu of %zu files\033[K", done, m_all));
}

void ProgressCount::hide() const
{
    if (errorTakesDrawing())
        printToError("\r\033[K");
}

} // namespace mv::cli
