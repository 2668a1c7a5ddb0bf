#include "libmivo/ClientOptionsContent.h"

namespace mivo {

ClientOptions::ClientOptions()
    : m_content(std::make_unique<ClientOptionsContent>())
{
}

ClientOptions::ClientOptions(const ClientOptions& other)
    : m_content(std::make_unique<ClientOptionsContent>(*other.m_content))
{
}

ClientOptions& ClientOptions::operator=(const ClientOptions& other)
{
    *m_content = *other.m_content;
    return *this;
}

ClientOptions::~ClientOptions() = default;

ClientOptions& ClientOptions::startService(bool start)
{
    m_content->startsService = start;
    return *this;
}

ClientOptions& ClientOptions::serviceProgram(std::string path)
{
    m_content->serviceProgram = std::move(path);
    return *this;
}

} // namespace mivo
