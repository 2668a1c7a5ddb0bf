#include "tests/facts/reading/FactsText.h"

#include "Base/Core/Text.h"

namespace mv::test {

namespace {

struct Printer {
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(const std::vector<std::string>& texts) const
    {
        std::string joined;
        for (const std::string& text : texts)
            joined += (joined.empty() ? "" : " | ") + text;
        return joined;
    }
    std::string operator()(double number) const { return formatText("%.10g", number); }
    std::string operator()(bool flag) const { return flag ? "1" : "0"; }
    template <class Integer> std::string operator()(Integer number) const { return std::to_string(number); }
};

} // namespace

std::string textOf(const FactValue& value) { return std::visit(Printer {}, value); }

std::string textOf(const Facts& facts, std::string_view key)
{
    const FactValue* value = facts.find(key);
    return value ? textOf(*value) : std::string();
}

} // namespace mv::test
