#include <mivo/Error.h>

#include <utility>

namespace mivo {

class ErrorContent {
public:
    Error::Kind kind;
    std::string text;
    std::string name;
    int code;
};

Error::Error(Kind kind, std::string text, std::string name, int code)
    : m_content(std::make_shared<ErrorContent>(ErrorContent { kind, std::move(text), std::move(name), code }))
{
}

Error::Error(const Error& other) noexcept = default;
Error& Error::operator=(const Error& other) noexcept = default;
Error::~Error() = default;

Error::Kind Error::kind() const noexcept { return m_content->kind; }
const char* Error::what() const noexcept { return m_content->text.c_str(); }
const std::string& Error::name() const noexcept { return m_content->name; }
int Error::code() const noexcept { return m_content->code; }

} // namespace mivo
