#include "platform/AtomContainer.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t ContainerHeaderSize = 12;
constexpr std::size_t AtomHeaderSize = 20;
// Settings have a handful of levels; a deeper container is none.
constexpr int DeepestAtom = 16;

std::size_t sizeOf(const QTAtom& atom)
{
    std::size_t size = AtomHeaderSize + atom.data.size();
    for (const QTAtom& child : atom.children)
        size += sizeOf(child);
    return size;
}

void write(ByteWriter& writer, const QTAtom& atom)
{
    writer.u32be(static_cast<std::uint32_t>(sizeOf(atom)));
    writer.u32be(atom.type);
    writer.u32be(atom.id);
    writer.u16be(0);
    writer.u16be(static_cast<std::uint16_t>(atom.children.size()));
    writer.u32be(0);
    writer.bytes(atom.data);
    for (const QTAtom& child : atom.children)
        write(writer, child);
}

Result<QTAtom> read(ByteReader& reader, int depth)
{
    const Error damaged { Error::Kind::Format, "the atom container is damaged" };
    std::size_t size = reader.u32be();
    QTAtom atom;
    atom.type = reader.u32be();
    atom.id = reader.u32be();
    reader.u16be();
    std::size_t children = reader.u16be();
    reader.u32be();
    if (reader.failed() || size < AtomHeaderSize || size - AtomHeaderSize > reader.remaining() || depth > DeepestAtom)
        return damaged;
    ByteReader content(reader.take(size - AtomHeaderSize));
    if (children == 0) {
        ByteView data = content.rest();
        atom.data.assign(data.begin(), data.end());
    }
    for (std::size_t i = 0; i < children; ++i) {
        MV_TRY(child, read(content, depth + 1));
        atom.children.push_back(std::move(child));
    }
    return content.atEnd() ? Result<QTAtom>(std::move(atom)) : damaged;
}

} // namespace

const QTAtom* QTAtom::child(OSType wanted) const
{
    auto found = std::find_if(children.begin(), children.end(), [wanted](const QTAtom& a) { return a.type == wanted; });
    return found == children.end() ? nullptr : &*found;
}

std::uint64_t QTAtom::number() const
{
    ByteReader reader(data);
    switch (data.size()) {
    case 1:
        return reader.u8();
    case 2:
        return reader.u16be();
    case 4:
        return reader.u32be();
    case 8:
        return reader.u64be();
    default:
        return 0;
    }
}

Bytes bytesOfAtomContainer(const QTAtom& root)
{
    Bytes bytes(ContainerHeaderSize);
    ByteWriter writer(bytes);
    write(writer, root);
    return bytes;
}

Result<QTAtom> readAtomContainer(ByteView bytes)
{
    ByteReader reader(bytes);
    reader.skip(ContainerHeaderSize);
    MV_TRY(root, read(reader, 0));
    if (!reader.atEnd())
        return Error { Error::Kind::Format, "bytes behind the root atom" };
    return root;
}

} // namespace mv
