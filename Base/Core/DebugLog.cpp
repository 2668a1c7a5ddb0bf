#include "Base/Core/DebugLog.h"

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"
#include "Base/Core/NSBundle.h"
#include "Base/Core/NSLog.h"

#include <atomic>
#include <fstream>
#include <iterator>
#include <plist/plist.h>

namespace mv {

namespace {

using PlistHandle = std::unique_ptr<void, CloseWith<plist_free>>;

constexpr int NotFixed = -1;
std::atomic<int> s_fixedLevel = NotFixed;

PlistHandle readPropertyList(const Path& path)
{
    if (path.isNil())
        return nullptr;
    std::ifstream file(path.text(), std::ios::binary);
    if (!file)
        return nullptr;
    std::string content { std::istreambuf_iterator<char>(file), {} };
    auto size = static_cast<std::uint32_t>(content.size());
    plist_t root = nullptr;
    // Not by plist_from_memory: libplist's versions declare it differently, and later ones read further formats by it.
    (plist_is_binary(content.data(), size) ? plist_from_bin : plist_from_xml)(content.data(), size, &root);
    return PlistHandle(root);
}

int integerValue(plist_t node)
{
    switch (plist_get_node_type(node)) {
    case PLIST_UINT: {
        std::uint64_t value = 0;
        plist_get_uint_val(node, &value);
        return static_cast<int>(value);
    }
    case PLIST_BOOLEAN: {
        std::uint8_t value = 0;
        plist_get_bool_val(node, &value);
        return value;
    }
    case PLIST_REAL: {
        double value = 0;
        plist_get_real_val(node, &value);
        return value > -1e9 && value < 1e9 ? static_cast<int>(value) : 0;
    }
    case PLIST_STRING:
        return leadingInteger(plist_get_string_ptr(node, nullptr));
    default:
        return 0;
    }
}

} // namespace

void setDebugLevel(int level) { s_fixedLevel = level; }

int currentDebugLevel()
{
    if (int level = s_fixedLevel; level != NotFixed)
        return level;
    PlistHandle root = readPropertyList(NSBundle::mainBundle().pathForResource("DEBUG", "plist"));
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT)
        return 0;
    plist_t level = plist_dict_get_item(root.get(), "DEBUG_LEVEL");
    return level ? integerValue(level) : 0;
}

void writeDebugLog(int level, std::string_view file, std::string_view function, int line, std::string_view message)
{
    if (currentDebugLevel() < level)
        return;
    // Who has opened the gate wants to see it.
    NSLogAt(LogPriority::Info, "[%.*s:%.*s-(%d)] %.*s", static_cast<int>(file.size()), file.data(),
        static_cast<int>(function.size()), function.data(), line, static_cast<int>(message.size()), message.data());
}

} // namespace mv
