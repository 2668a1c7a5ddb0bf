// Any text as conditions: what is taken can be asked of files that have every field and of such that have none, and its
// contrary holds where it does not.
#include "cli/facts/FactForms.h"
#include "cli/facts/FactQuery.h"

#include <cstdlib>

using namespace mv;
using namespace mv::cli;

namespace {

FactValue someValue(FactType type)
{
    switch (type) {
    case FactType::Text:
        return std::string("2010-05-04 Ä\n=\"x\"");
    case FactType::Texts:
        return std::vector<std::string> { "a", "Bach; \t" };
    case FactType::Integer:
        return std::int32_t { 4 };
    case FactType::Unsigned:
        return std::uint32_t { 128000 };
    case FactType::Long:
        return std::int64_t { 185'000'000 };
    case FactType::UnsignedLong:
        return std::uint64_t { 4'200'000 };
    case FactType::Real:
        return 2.8;
    case FactType::Flag:
        return true;
    }
    std::abort();
}

DescribedFile fullFile(std::string path)
{
    Facts facts;
    for (const FactRow& row : FactRows)
        facts.set(row.key, someValue(row.type));
    return { std::move(path), facts };
}

void check(const FactQuery& query, const std::string& text, const DescribedFile& file)
{
    auto contrary = FactQuery::parse("not(" + text + ")");
    if (contrary && contrary->matches(file) == query.matches(file))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string text(reinterpret_cast<const char*>(data), size);
    if (auto query = FactQuery::parse(text)) {
        check(*query, text, fullFile("path"));
        check(*query, text, DescribedFile("", {}));
    } else if (query.error().text.empty()) {
        std::abort();
    }
    auto fields = fieldsFrom(text);
    DescribedFile named = fullFile(text);
    for (FactForm form : { FactForm::Text, FactForm::Json, FactForm::JsonLines, FactForm::Csv, FactForm::Tsv })
        FactWriter({ .form = form, .fields = fields ? *fields : FactFields() }).item(named);
    return 0;
}
