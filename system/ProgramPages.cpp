#include "system/ProgramPages.h"

#include <cstdint>
#include <link.h>
#include <span>
#include <sys/mman.h>
#include <unistd.h>

namespace mv {

namespace {

using Segment = ElfW(Phdr);

/// Text that the loader has written addresses into is nowhere but in memory.
bool isAsInItsFile(const dl_phdr_info& object, std::span<const Segment> segments)
{
    for (const Segment& segment : segments) {
        if (segment.p_type != PT_DYNAMIC)
            continue;
        auto* entry = reinterpret_cast<const ElfW(Dyn)*>(object.dlpi_addr + segment.p_vaddr);
        for (; entry->d_tag != DT_NULL; ++entry) {
            if (entry->d_tag == DT_TEXTREL || (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_TEXTREL)))
                return false;
        }
    }
    return true;
}

int letGoOf(dl_phdr_info* object, std::size_t, void*)
{
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::span<const Segment> segments(object->dlpi_phdr, object->dlpi_phnum);
    if (!isAsInItsFile(*object, segments))
        return 0;
    for (const Segment& segment : segments) {
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W))
            continue;
        // A page that the next segment shares with this one is mapped twice.
        const std::uintptr_t begin = (object->dlpi_addr + segment.p_vaddr) / page * page;
        const std::uintptr_t end = object->dlpi_addr + segment.p_vaddr + segment.p_memsz;
        // What the system does not let go of stays.
        static_cast<void>(madvise(reinterpret_cast<void*>(begin), end - begin, MADV_DONTNEED));
    }
    return 0;
}

} // namespace

void letGoOfProgramPages() { static_cast<void>(dl_iterate_phdr(letGoOf, nullptr)); }

} // namespace mv
