#include "application/ProcessTable.h"

#include "Base/Core/Handle.h"
#include "system/RunningPrograms.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <vector>

namespace mv {

namespace {

// Processes come and go between the two calls of a reader; this many more are promised than there are.
constexpr std::size_t SpareRecords = 32;

std::string commandName(std::int32_t process)
{
    UniqueFd file(open(("/proc/" + std::to_string(process) + "/comm").c_str(), O_RDONLY | O_CLOEXEC));
    char name[64];
    ssize_t length = file ? read(file.get(), name, sizeof name) : 0;
    if (length > 0 && name[length - 1] == '\n')
        --length;
    return { name, static_cast<std::size_t>(std::max<ssize_t>(length, 0)) };
}

void writeRecord(std::uint8_t* record, std::int32_t process)
{
    std::memset(record, 0, ProcessRecordSize);
    std::memcpy(record + ProcessRecordPidOffset, &process, sizeof process);
    std::string name = commandName(process).substr(0, ProcessRecordNameLength);
    std::memcpy(record + ProcessRecordNameOffset, name.c_str(), name.size() + 1);
}

} // namespace

int sysctlProcessTable(void* buffer, std::size_t* size)
{
    std::vector<std::int32_t> processes = runningProcesses();
    if (processes.empty()) {
        errno = ENOENT;
        return -1;
    }
    if (!buffer) {
        *size = (processes.size() + SpareRecords) * ProcessRecordSize;
        return 0;
    }
    std::size_t needed = processes.size() * ProcessRecordSize;
    if (needed > *size) {
        errno = ENOMEM;
        return -1;
    }
    auto* record = static_cast<std::uint8_t*>(buffer);
    for (std::int32_t process : processes) {
        writeRecord(record, process);
        record += ProcessRecordSize;
    }
    *size = needed;
    return 0;
}

} // namespace mv
