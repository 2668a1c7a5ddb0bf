#pragma once

#include "system/ByteSource.h"

#include <tiostream.h>

namespace mv {

/// Leaves TagLib where a file makes it read behind the end again and again: counts of objects that it takes from the
/// file and never compares with the file's size. What it had allocated by then is lost; no honest file comes here.
struct EndlessReading { };

/// A source as TagLib reads files: for reading only, at any place, never by name. Bytes that cannot be read are the end
/// of the file. The source must outlive it; one thread.
class TagLibStream final : public TagLib::IOStream {
public:
    /// What one read may take: TagLib reads whole tags at once, and sizes that files claim.
    static constexpr std::size_t MaxRead = std::size_t { 96 } << 20;

    /// Reads at the end of the file; a reader that goes by sizes meets it once or twice.
    static constexpr int MaxReadsAtEnd = 10'000;

    explicit TagLibStream(const ByteSource& source)
        : m_source(source)
    {
    }

    TagLib::FileName name() const override { return ""; }
    /// Raises EndlessReading.
    TagLib::ByteVector readBlock(unsigned long length) override;
    void writeBlock(const TagLib::ByteVector&) override { }
    void insert(const TagLib::ByteVector&, unsigned long, unsigned long) override { }
    void removeBlock(unsigned long, unsigned long) override { }
    bool readOnly() const override { return true; }
    bool isOpen() const override { return true; }
    void seek(long offset, Position from) override;
    void clear() override { }
    long tell() const override { return static_cast<long>(m_place); }
    long length() override { return static_cast<long>(m_source.size()); }
    void truncate(long) override { }

private:
    const ByteSource& m_source;
    std::uint64_t m_place = 0;
    int m_readsAtEnd = 0;
};

} // namespace mv
