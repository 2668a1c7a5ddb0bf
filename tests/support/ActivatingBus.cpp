#include "tests/support/ActivatingBus.h"

#include "tests/support/Places.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace mv::test {

namespace {

/// A file for the bus, with another program in it and without systemd.
std::string withProgram(const std::filesystem::path& file, const std::string& program)
{
    std::ifstream in(file);
    std::string text;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("Exec="))
            line = "Exec=" + program + line.substr(std::min(line.find(' '), line.size()));
        if (!line.starts_with("SystemdService="))
            text += line + "\n";
    }
    return text;
}

} // namespace

ActivatingBus::ActivatingBus(const std::string& arguments, const std::string& program)
    : m_bus(prepare(arguments, program.empty() ? buildPath("bin/mivo-mediad") : program))
{
}

// A process that a test has stopped in the middle would outlive its bus.
ActivatingBus::~ActivatingBus()
{
    for (int process : processes())
        kill(process, SIGKILL);
}

std::string ActivatingBus::prepare(const std::string& arguments, const std::string& program)
{
    m_folder.write("starts", std::string_view());
    m_folder.write("log", std::string_view());
    std::string starter = m_folder.write("start",
        "#!/bin/sh\necho $$ >>" + m_folder.file("starts") + "\nexec " + program + " \"$@\" " + arguments + " 2>>"
            + m_folder.file("log") + "\n");
    std::filesystem::permissions(starter, std::filesystem::perms::owner_all);
    for (const auto& file : std::filesystem::directory_iterator(buildPath("desktop/dbus-1/services")))
        m_folder.write("services/" + file.path().filename().string(), withProgram(file.path(), starter));
    return m_folder.write("session.conf",
        "<!DOCTYPE busconfig PUBLIC '-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN' "
        "'http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd'>\n<busconfig><type>session</type>"
        "<listen>unix:tmpdir=/tmp</listen><servicedir>"
            + m_folder.file("services")
            + "</servicedir><policy context='default'><allow send_destination='*' eavesdrop='true'/>"
              "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>\n");
}

std::vector<int> ActivatingBus::processes() const
{
    std::ifstream in(m_folder.file("starts"));
    std::vector<int> found;
    for (int process = 0; in >> process;)
        found.push_back(process);
    return found;
}

int ActivatingBus::starts() const { return static_cast<int>(processes().size()); }

std::string ActivatingBus::log() const { return std::string(charsOf(readFile(m_folder.file("log")))); }

} // namespace mv::test
