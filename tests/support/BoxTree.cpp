#include "tests/support/BoxTree.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace mv::test {

namespace {

constexpr std::array Containers
    = { "moov", "trak", "mdia", "minf", "stbl", "edts", "tref", "udta", "hnti", "hinf", "dinf" };

bool isContainer(const std::string& type)
{
    return std::find(Containers.begin(), Containers.end(), type) != Containers.end();
}

std::vector<BoxTree> boxesOf(ByteView bytes, std::size_t offset)
{
    std::vector<BoxTree> boxes;
    ByteReader reader(bytes);
    while (reader.remaining() >= 8) {
        std::size_t start = reader.position();
        std::uint64_t size = reader.u32be();
        BoxTree box;
        box.type = charsOf(reader.take(4));
        box.offset = offset + start;
        if (size == 1)
            size = reader.u64be();
        std::size_t header = reader.position() - start;
        if (size == 0)
            size = header + reader.remaining();
        box.content = reader.take(static_cast<std::size_t>(size) - header);
        if (reader.failed())
            throw std::runtime_error("a box overruns: " + box.type);
        if (isContainer(box.type))
            box.children = boxesOf(box.content, box.offset + header);
        boxes.push_back(std::move(box));
    }
    return boxes;
}

} // namespace

const BoxTree* BoxTree::find(const std::string& path) const
{
    std::string first = path.substr(0, path.find('/'));
    for (const BoxTree& child : children) {
        if (child.type != first)
            continue;
        if (first.size() == path.size())
            return &child;
        if (const BoxTree* found = child.find(path.substr(first.size() + 1)))
            return found;
    }
    return nullptr;
}

const BoxTree& BoxTree::at(const std::string& path) const
{
    if (const BoxTree* found = find(path))
        return *found;
    throw std::runtime_error("no box " + path);
}

bool BoxTree::has(const std::string& path) const { return find(path) != nullptr; }

std::vector<const BoxTree*> BoxTree::all(const std::string& childType) const
{
    std::vector<const BoxTree*> found;
    for (const BoxTree& child : children) {
        if (child.type == childType)
            found.push_back(&child);
    }
    return found;
}

std::uint32_t BoxTree::u32(std::size_t at) const
{
    ByteReader reader(content);
    reader.seek(at);
    std::uint32_t value = reader.u32be();
    if (reader.failed())
        throw std::runtime_error("no number there: " + type);
    return value;
}

std::uint16_t BoxTree::u16(std::size_t at) const
{
    ByteReader reader(content);
    reader.seek(at);
    std::uint16_t value = reader.u16be();
    if (reader.failed())
        throw std::runtime_error("no number there: " + type);
    return value;
}

BoxTree readBoxes(ByteView bytes)
{
    BoxTree root;
    root.content = bytes;
    root.children = boxesOf(bytes, 0);
    return root;
}

} // namespace mv::test
