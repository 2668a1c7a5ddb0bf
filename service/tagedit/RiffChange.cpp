#include "service/tagedit/RiffChange.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/TagLimits.h"
#include "facts/reading/RiffTags.h"
#include "service/tagedit/Id3NewTag.h"
#include "service/tagedit/RiffTexts.h"
#include "service/tagedit/WritableTexts.h"

#include <algorithm>
#include <limits>
#include <optional>

namespace mv {

namespace {

constexpr std::size_t FormHeader = 12;
constexpr std::size_t ChunkHeader = 8;
constexpr std::size_t MaxChunks = 10'000;

struct Chunk {
    std::uint32_t id = 0;
    std::uint64_t offset = 0; ///< of its header
    std::uint64_t size = 0; ///< of its content, as it says

    std::uint64_t content() const { return offset + ChunkHeader; }
    std::uint64_t contentEnd() const { return content() + size; }
    /// Behind the byte that makes its size even.
    std::uint64_t end() const { return contentEnd() + size % 2; }
};

/// Four printable characters.
bool isName(std::uint32_t id)
{
    for (int shift = 0; shift < 32; shift += 8) {
        std::uint32_t character = id >> shift & 0xFF;
        if (character < ' ' || character > '~')
            return false;
    }
    return true;
}

bool isId3(std::uint32_t id) { return id == fourCC("id3 ") || id == fourCC("ID3 "); }

Error unsupported(const char* text) { return { Error::Kind::Unsupported, text }; }

class RiffChange {
public:
    RiffChange(const ByteSource& file, RiffForm form)
        : m_file(file)
        , m_form(form)
    {
    }

    Result<void> readChunks()
    {
        MV_TRY(front, m_file.bytesAt(0, FormHeader));
        bool isForm = charsOf(front).starts_with(m_form == RiffForm::Wave ? "RIFF" : "FORM");
        if (!isForm)
            return unsupported("files of this kind with 64-bit sizes are not written");
        ByteReader sizeField(ByteView(front).subspan(4));
        const std::uint64_t statedEnd = ChunkHeader + std::uint64_t { number(sizeField) };
        std::uint64_t place = FormHeader;
        while (m_file.size() - std::min(m_file.size(), place) >= ChunkHeader) {
            if (m_chunks.size() == MaxChunks)
                return unsupported("this file has more parts than are read");
            MV_TRY(header, m_file.bytesAt(place, ChunkHeader));
            ByteReader fields(header);
            Chunk chunk { fields.u32be(), place, number(fields) };
            if (chunk.id == 0)
                break; // zeros behind the last
            // Behind the form's own end may be somebody else's bytes, which stay there: ID3v1, whatever its title makes
            // of it as a chunk, and what is longer than the file.
            const bool isBehind = place == statedEnd || place == statedEnd + statedEnd % 2;
            if (isBehind && charsOf(header).starts_with("TAG") && m_file.size() - place == Id3v1Tag::Size)
                break;
            if (chunk.contentEnd() > m_file.size()) {
                // Else whatever came behind a chunk that was cut off would be a part of it.
                if (!isBehind)
                    m_cutOff = chunk;
                break;
            }
            m_chunks.push_back(chunk);
            place = chunk.end();
        }
        m_end = std::min(place, m_file.size());
        return checkSound();
    }

    Result<Splices> splices(const TagChanges& changes)
    {
        if (m_form == RiffForm::Wave)
            MV_TRY_VOID(changeInfo(changes));
        else
            changeTexts(changes);
        MV_TRY_VOID(changeId3(changes));
        if (!m_added.empty())
            m_splices.push_back({ m_end, 0, padded() });
        MV_TRY_VOID(setSize());
        return std::move(m_splices);
    }

    Result<std::vector<std::uint64_t>> outline() const
    {
        std::vector<std::uint64_t> sizes;
        for (const Chunk& chunk : m_chunks) {
            MV_TRY(isTag, holdsTag(chunk));
            if (!isTag)
                sizes.push_back(chunk.size);
        }
        if (m_cutOff)
            sizes.push_back(m_file.size() - m_cutOff->content());
        return sizes;
    }

private:
    /// Where the parts do not lead to the sound, or end in it, nobody knows what may be moved.
    Result<void> checkSound() const
    {
        const std::uint32_t id = fourCC(m_form == RiffForm::Wave ? "data" : "SSND");
        const std::size_t ownFields = m_form == RiffForm::Wave ? 0 : 8; // of the chunk, before its samples
        auto sound = std::find_if(m_chunks.begin(), m_chunks.end(), [&](const Chunk& chunk) { return chunk.id == id; });
        if (sound == m_chunks.end()) {
            bool isLast = m_cutOff && m_cutOff->id == id;
            return isLast ? Result<void> {} : unsupported("the sound is not among the parts of this file");
        }
        // A program that died while it recorded leaves a size of nothing, and what follows are no chunks but samples.
        bool isWhole = !m_cutOff && m_end == m_file.size()
            && std::all_of(sound + 1, m_chunks.end(), [](const Chunk& chunk) { return isName(chunk.id); });
        if (sound->size <= ownFields && !isWhole)
            return unsupported("the size of this file's sound was never written");
        return {};
    }

    std::uint32_t number(ByteReader& in) const { return m_form == RiffForm::Wave ? in.u32le() : in.u32be(); }
    void putNumber(ByteWriter& out, std::size_t number) const
    {
        auto value = static_cast<std::uint32_t>(number);
        m_form == RiffForm::Wave ? out.u32le(value) : out.u32be(value);
    }

    Bytes chunkBytes(std::uint32_t id, ByteView content) const
    {
        Bytes bytes;
        ByteWriter out(bytes);
        out.u32be(id);
        putNumber(out, content.size());
        out.bytes(content);
        out.zeros(content.size() % 2);
        return bytes;
    }

    void replace(const Chunk& chunk, Bytes bytes)
    {
        m_splices.push_back({ chunk.offset, std::min(chunk.end(), m_file.size()) - chunk.offset, std::move(bytes) });
    }

    Result<bool> isInfo(const Chunk& chunk) const
    {
        if (chunk.id != fourCC("LIST") || chunk.size < 4)
            return false;
        MV_TRY(name, m_file.bytesAt(chunk.content(), 4));
        return charsOf(name) == "INFO";
    }

    /// The form's own texts: an INFO list, or a text of AIFF's.
    Result<bool> holdsTexts(const Chunk& chunk) const
    {
        return m_form == RiffForm::Wave ? isInfo(chunk) : Result<bool>(riffField(AiffFields, chunk.id) != nullptr);
    }
    Result<bool> holdsTag(const Chunk& chunk) const { return isId3(chunk.id) ? Result<bool>(true) : holdsTexts(chunk); }

    Result<Bytes> contentOf(const Chunk& chunk) const
    {
        if (chunk.size > MaxTagBytes)
            return Error { Error::Kind::Limit, "the tag is larger than tags are read" };
        return m_file.bytesAt(chunk.content(), chunk.size);
    }

    /// All lists lose what is named; the first has the new values.
    Result<void> changeInfo(const TagChanges& changes)
    {
        bool isFirst = true;
        for (const Chunk& chunk : m_chunks) {
            MV_TRY(is, isInfo(chunk));
            if (!is)
                continue;
            MV_TRY(content, contentOf(chunk));
            auto list = changedInfoList(ByteView(content).subspan(4), changes, std::exchange(isFirst, false));
            replace(chunk, listBytes(list));
        }
        // Beside a tag a new list would have the changed texts alone, and FFmpeg would show no other any more.
        bool hasTag = std::ranges::any_of(m_chunks, [](const Chunk& chunk) { return isId3(chunk.id); });
        if (isFirst && !hasTag)
            m_added = listBytes(changedInfoList({}, changes, true));
        return {};
    }

    Bytes listBytes(const Bytes& content) const
    {
        return content.empty() ? Bytes() : chunkBytes(fourCC("LIST"), content);
    }

    /// AIFF's own texts change where they are; the tag has them all.
    void changeTexts(const TagChanges& changes)
    {
        std::vector<std::uint32_t> done;
        for (const Chunk& chunk : m_chunks) {
            bool isFirst = std::ranges::find(done, chunk.id) == done.end();
            auto text = changedAiffText(chunk.id, changes, isFirst);
            if (!text)
                continue;
            done.push_back(chunk.id);
            replace(chunk, text->empty() ? Bytes() : chunkBytes(chunk.id, bytesOf(*text)));
        }
    }

    Result<void> changeId3(const TagChanges& changes)
    {
        MV_TRY(texts, ownTexts());
        bool isThere = false;
        for (const Chunk& chunk : m_chunks) {
            if (!isId3(chunk.id))
                continue;
            isThere = true;
            MV_TRY(tags, tagsIn(chunk));
            MV_TRY(tag, changedId3(tags, changes, texts));
            Bytes content = id3TagBytes(tag, chunk.size);
            replace(chunk, content.empty() ? Bytes() : chunkBytes(chunk.id, content));
        }
        if (isThere || !changes.setsAnything())
            return {};
        MV_TRY(whole, changedId3(TagSet {}, changes, texts));
        Bytes chunk = chunkBytes(m_form == RiffForm::Wave ? fourCC("id3 ") : fourCC("ID3 "), id3TagBytes(whole, 0));
        m_added.insert(m_added.end(), chunk.begin(), chunk.end());
        return {};
    }

    /// Of all lists, or of all of AIFF's texts, which are one tag.
    Result<TagChanges> ownTexts() const
    {
        TagSink sink;
        for (const Chunk& chunk : m_chunks) {
            MV_TRY(isText, holdsTexts(chunk));
            if (!isText)
                continue;
            MV_TRY(content, contentOf(chunk));
            if (m_form == RiffForm::Wave)
                addInfoList(sink, content);
            else
                addAiffText(sink, chunk.id, content);
        }
        return writableTexts(sink);
    }

    Result<TagSet> tagsIn(const Chunk& chunk) const
    {
        MV_TRY(content, contentOf(chunk));
        TagSet tags;
        auto header = Id3v2Tag::parseHeader(content);
        if (!header) {
            bool isEmpty = std::all_of(content.begin(), content.end(), [](std::uint8_t byte) { return byte == 0; });
            return isEmpty ? Result<TagSet>(std::move(tags))
                           : unsupported("the present ID3v2 tag cannot be read whole");
        }
        auto size = std::min<std::size_t>(header->bodySize, content.size() - Id3v2Tag::HeaderSize);
        auto begin = content.begin() + Id3v2Tag::HeaderSize;
        Id3v2Tag tag = Id3v2Tag::parse(*header, chunk.content(), chunk.contentEnd(),
            Bytes(begin, begin + static_cast<std::ptrdiff_t>(size)), TagSet::MaxBytesUnpacked);
        if (!tag.complete())
            return unsupported("the present ID3v2 tag cannot be read whole");
        tags.prependedTags.push_back(std::move(tag));
        return tags;
    }

    /// The last chunk's even byte may be missing at the end of a file. A chunk that is replaced brings its own.
    Bytes padded()
    {
        bool isOdd = !m_cutOff && !m_chunks.empty() && m_chunks.back().end() > m_file.size();
        auto isLast = [&](const Splice& splice) { return splice.offset == m_chunks.back().offset; };
        if (isOdd && std::none_of(m_splices.begin(), m_splices.end(), isLast))
            m_added.insert(m_added.begin(), 0);
        return std::move(m_added);
    }

    /// The size in front counts up to the last chunk.
    Result<void> setSize()
    {
        std::uint64_t size = m_cutOff ? m_file.size() : m_end;
        for (const Splice& splice : m_splices)
            size += splice.bytes.size() - splice.length;
        size -= ChunkHeader;
        if (size > std::numeric_limits<std::uint32_t>::max() - 1)
            return Error { Error::Kind::Limit, "files of this kind have at most 4 GiB" };
        Bytes bytes;
        ByteWriter out(bytes);
        putNumber(out, size);
        m_splices.push_back({ 4, 4, std::move(bytes) });
        return {};
    }

    const ByteSource& m_file;
    const RiffForm m_form;
    std::vector<Chunk> m_chunks;
    std::optional<Chunk> m_cutOff; // claims more than the file has
    std::uint64_t m_end = 0; // behind the last whole chunk
    Splices m_splices;
    Bytes m_added; // chunks
};

} // namespace

Result<Splices> riffSplices(const ByteSource& file, RiffForm form, const TagChanges& changes)
{
    RiffChange change(file, form);
    MV_TRY_VOID(change.readChunks());
    return change.splices(changes);
}

Result<std::vector<std::uint64_t>> riffOutline(const ByteSource& file, RiffForm form)
{
    RiffChange change(file, form);
    MV_TRY_VOID(change.readChunks());
    return change.outline();
}

} // namespace mv
