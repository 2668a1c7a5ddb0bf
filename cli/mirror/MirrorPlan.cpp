#include "cli/mirror/MirrorPlan.h"

#include "Base/Core/Path.h"
#include "Base/Core/Text.h"
#include "cli/mirror/SoundNames.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

constexpr std::array<std::string_view, 3> PictureEndings { "jpeg", "jpg", "png" };
constexpr std::array<std::string_view, 4> CoverNames { "album", "cover", "folder", "front" };

template <class Words> bool isOneOf(const Words& words, std::string_view word)
{
    return std::find(words.begin(), words.end(), toLowerAscii(word)) != words.end();
}

bool isSame(const MirrorEntry& entry, const MirrorFile& file, const std::string& how, const MadeSize& madeSize)
{
    return entry.size == file.size && entry.modified == file.modified && (entry.how == how || entry.how == CopiedAsItIs)
        && madeSize(entry.to) == entry.madeSize;
}

} // namespace

MirrorPlan mirrorPlan(
    const MirrorState& state, const std::vector<MirrorFile>& files, const std::string& how, const MadeSize& madeSize)
{
    std::multimap<std::string_view, const MirrorEntry*> bySource;
    for (const auto& [to, entry] : state.entries())
        bySource.emplace(entry.from, &entry);
    MirrorPlan plan;
    for (const MirrorFile& file : files) {
        auto [first, last] = bySource.equal_range(file.path);
        auto same
            = std::find_if(first, last, [&](const auto& one) { return isSame(*one.second, file, how, madeSize); });
        if (same != last)
            plan.unchanged.push_back(*same->second);
        else
            plan.changed.push_back(file);
    }
    return plan;
}

std::vector<MirrorEntry> goneFrom(
    const MirrorState& state, const MirrorNames& names, const std::set<std::string>& unreadSources)
{
    std::vector<MirrorEntry> gone;
    for (const auto& [to, entry] : state.entries()) {
        if (!names.contains(to) && !unreadSources.contains(entry.from))
            gone.push_back(entry);
    }
    return gone;
}

std::string withEnding(const std::string& path, std::string_view ending)
{
    const Path named(path);
    std::size_t old = named.pathExtension().size();
    return path.substr(0, path.size() - old - (old > 0 ? 1 : 0)) + "." + std::string(ending);
}

bool isCoverName(const std::string& name)
{
    const Path named(name);
    return isOneOf(PictureEndings, named.pathExtension())
        && isOneOf(CoverNames, named.lastPathComponentWithoutExtension());
}

bool isMirrored(const std::string& name) { return isSoundName(name) || isCoverName(name); }

} // namespace mv::cli
