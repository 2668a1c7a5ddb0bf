#include "tests/service/transcode/Traces.h"

#include "tests/support/Scratch.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace mv::test {

std::vector<Trace> tracesOf(const std::string& command, const std::vector<const char*>& names)
{
    std::vector<Trace> traces;
    for (const char* name : names)
        traces.push_back({ name, {} });
    std::istringstream lines(outputOf(command));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream numbers(line);
        for (Trace& trace : traces)
            numbers >> trace.values.emplace_back();
    }
    return traces;
}

Trace energyOf(const Signal& heard, std::size_t frameValues)
{
    Trace energy { "energy", {} };
    for (std::size_t begin = 0; begin + frameValues <= heard.size(); begin += frameValues) {
        double sum = 1;
        for (std::size_t i = begin; i < begin + frameValues; ++i)
            sum += static_cast<double>(heard[i]) * heard[i];
        energy.values.push_back(10 * std::log10(sum));
    }
    return energy;
}

double largestStep(const Trace& trace, std::size_t begin, std::size_t end)
{
    double largest = 0;
    for (std::size_t i = begin; i < end; ++i)
        largest = std::max(largest, std::abs(trace.values[i] - trace.values[i - 1]));
    return largest;
}

} // namespace mv::test
