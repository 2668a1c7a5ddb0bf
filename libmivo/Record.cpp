#include <mivo/Record.h>

namespace mivo {

class RecordContent {
public:
    Record::Entries entries;
};

namespace {

const Record::Entries NoEntries;

} // namespace

Record::Record() = default;

Record::Record(std::initializer_list<std::pair<std::string_view, Value>> entries)
{
    for (const auto& [key, value] : entries)
        set(key, value);
}

Record::Record(const Record& other)
    : m_content(other.m_content ? std::make_unique<RecordContent>(*other.m_content) : nullptr)
{
}

Record::Record(Record&& other) noexcept = default;

Record& Record::operator=(const Record& other)
{
    if (this != &other)
        *this = Record(other);
    return *this;
}

Record& Record::operator=(Record&& other) noexcept = default;
Record::~Record() = default;

const Value& Record::operator[](std::string_view key) const noexcept
{
    static const Value None;
    auto found = entries().find(key);
    return found == end() ? None : found->second;
}

bool Record::contains(std::string_view key) const noexcept { return entries().find(key) != end(); }

Record& Record::set(std::string_view key, Value value)
{
    if (!m_content)
        m_content = std::make_unique<RecordContent>();
    m_content->entries.insert_or_assign(std::string(key), std::move(value));
    return *this;
}

bool Record::remove(std::string_view key)
{
    auto found = entries().find(key);
    if (found == end())
        return false;
    m_content->entries.erase(found);
    return true;
}

const Record::Entries& Record::entries() const noexcept { return m_content ? m_content->entries : NoEntries; }

} // namespace mivo
