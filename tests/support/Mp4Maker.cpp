#include "tests/support/Mp4Maker.h"

#include <stdexcept>

namespace mv::test {

Bytes joined(const std::vector<Bytes>& parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Bytes bytes(std::string_view text) { return { text.begin(), text.end() }; }

Bytes number(std::uint64_t value, int width)
{
    Bytes field;
    for (int shift = (width - 1) * 8; shift >= 0; shift -= 8)
        field.push_back(shift < 64 ? static_cast<std::uint8_t>(value >> shift) : std::uint8_t { 0 });
    return field;
}

Bytes box(std::string_view type, const Bytes& content)
{
    if (type.size() != 4)
        throw std::invalid_argument("a box type has four characters");
    return joined({ number(8 + content.size(), 4), bytes(type), content });
}

Bytes box(std::string_view type, const std::vector<Bytes>& contents) { return box(type, joined(contents)); }

Bytes fullBox(std::string_view type, int version, int flags, const std::vector<Bytes>& contents)
{
    auto word = static_cast<std::uint32_t>(version) << 24 | static_cast<std::uint32_t>(flags);
    return box(type, joined({ number(word, 4), joined(contents) }));
}

Bytes dataBox(int type, const Bytes& value, std::uint32_t locale)
{
    return box("data", { number(static_cast<std::uint64_t>(type), 4), number(locale, 4), value });
}

Bytes item(std::string_view code, int type, const Bytes& value) { return box(code, dataBox(type, value)); }

Bytes textItem(std::string_view code, std::string_view text) { return item(code, 1, bytes(text)); }

Bytes freeformItem(std::string_view mean, std::string_view name, std::string_view value)
{
    return box("----",
        { fullBox("mean", 0, 0, { bytes(mean) }), fullBox("name", 0, 0, { bytes(name) }), dataBox(1, bytes(value)) });
}

Bytes pair(std::uint16_t index, std::uint16_t total, int size)
{
    Bytes value = joined({ number(0, 2), number(index, 2), number(total, 2), number(0, 2) });
    value.resize(static_cast<std::size_t>(size));
    return value;
}

Bytes freeBox(std::size_t size) { return size ? box("free", Bytes(size - 8)) : Bytes {}; }

namespace {

Bytes handlerBox(std::string_view type, std::string_view maker)
{
    return fullBox("hdlr", 0, 0, { number(0, 4), bytes(type), bytes(maker), number(0, 8), number(0, 1) });
}

Bytes unitMatrix()
{
    return joined({ number(0x10000, 4), number(0, 12), number(0x10000, 4), number(0, 12), number(0x40000000, 4) });
}

Bytes movieHeader()
{
    return fullBox("mvhd", 0, 0,
        { number(3'500'000'000, 4), number(3'500'000'001, 4), number(600, 4), number(600, 4), number(0x10000, 4),
            number(0x0100, 2), number(0, 10), unitMatrix(), number(0, 24), number(2, 4) });
}

Bytes mediaHeader(const TrackSpec& track)
{
    int width = track.version == 1 ? 8 : 4;
    return fullBox("mdhd", track.version, 0,
        { number(0, width), number(0, width), number(track.timeScale, 4), number(track.duration, width),
            number(0x55C4, 2), number(0, 2) });
}

Bytes soundDescription(const TrackSpec& track)
{
    return box(track.code,
        { number(0, 6), number(1, 2), number(0, 8), number(2, 2), number(16, 2), number(0, 4),
            number(std::uint64_t { track.timeScale } << 16 & 0xFFFFFFFF, 4) });
}

Bytes visualDescription(const TrackSpec& track)
{
    return box(track.code, { number(0, 6), number(1, 2), number(0, 16), number(640, 2), number(480, 2), Bytes(50) });
}

Bytes sampleDescriptions(const TrackSpec& track)
{
    if (!track.descriptionBox.empty())
        return track.descriptionBox;
    Bytes entry = track.handler == "vide" ? visualDescription(track) : soundDescription(track);
    return fullBox("stsd", 0, 0, { number(1, 4), entry });
}

Bytes sampleSizes(const TrackSpec& track)
{
    if (!track.sizeBox.empty())
        return track.sizeBox;
    Bytes rows;
    for (std::uint32_t size : track.sampleSizes)
        rows = joined({ rows, number(size, 4) });
    return fullBox("stsz", 0, 0, { number(0, 4), number(track.sampleSizes.size(), 4), rows });
}

Bytes chunkOffsets(const TrackSpec& track, std::uint64_t mediaOffset)
{
    std::vector<std::uint64_t> chunks = track.chunks;
    if (chunks.empty())
        chunks.push_back(mediaOffset);
    int width = track.wideOffsets ? 8 : 4;
    Bytes rows;
    for (std::uint64_t chunk : chunks)
        rows = joined({ rows, number(chunk, width) });
    return fullBox(track.wideOffsets ? "co64" : "stco", 0, 0, { number(chunks.size(), 4), rows });
}

Bytes trackBox(const TrackSpec& track, std::uint64_t mediaOffset)
{
    auto samples = track.sampleSizes.size();
    Bytes header = fullBox("tkhd", 0, 3,
        { number(0, 8), number(track.id, 4), number(0, 4), number(600, 4), number(0, 16), unitMatrix(),
            number(640u << 16, 4), number(480u << 16, 4) });
    Bytes reference = track.externalMedia ? fullBox("url ", 0, 0, { bytes("file:///elsewhere"), number(0, 1) })
                                          : fullBox("url ", 0, 1, {});
    Bytes table = box("stbl",
        { sampleDescriptions(track),
            fullBox(
                "stts", 0, 0, { number(1, 4), number(samples, 4), number(samples ? track.duration / samples : 0, 4) }),
            fullBox("stsc", 0, 0, { number(1, 4), number(1, 4), number(samples, 4), number(1, 4) }), sampleSizes(track),
            chunkOffsets(track, mediaOffset) });
    Bytes information = box("minf", { box("dinf", fullBox("dref", 0, 0, { number(1, 4), reference })), table });
    Bytes media = box("mdia", { mediaHeader(track), handlerBox(track.handler, std::string(4, 0)), information });
    return box("trak", { header, media });
}

Bytes mediaBox(const Mp4Spec& spec)
{
    switch (spec.mediaSize) {
    case Mp4Spec::MediaSize::Short:
        return box("mdat", spec.media);
    case Mp4Spec::MediaSize::Wide:
        return joined({ number(1, 4), bytes("mdat"), number(16 + spec.media.size(), 8), spec.media });
    case Mp4Spec::MediaSize::ToTheEnd:
        break;
    }
    return joined({ number(0, 4), bytes("mdat"), spec.media });
}

} // namespace

Bytes userData(const Bytes& items, std::size_t padding)
{
    return box("udta", fullBox("meta", 0, 0, { handlerBox("mdir", "appl"), box("ilst", items), freeBox(padding) }));
}

Bytes keyedMetadata(const std::vector<std::pair<std::string, std::string>>& texts)
{
    std::vector<Bytes> keys { number(texts.size(), 4) };
    Bytes list;
    for (const auto& [key, text] : texts) {
        keys.push_back(box("mdta", bytes(key)));
        std::string place(charsOf(number(keys.size() - 1, 4)));
        list = joined({ list, box(place, dataBox(1, bytes(text))) });
    }
    return box("meta", { handlerBox("mdta", ""), fullBox("keys", 0, 0, keys), box("ilst", list) });
}

Bytes movieBox(const Mp4Spec& spec, std::uint64_t mediaOffset)
{
    Bytes content = movieHeader();
    for (const TrackSpec& track : spec.tracks)
        content = joined({ content, trackBox(track, mediaOffset) });
    if (spec.hasUserData)
        content = joined({ content, userData(spec.items, spec.padding) });
    return box("moov", { content, spec.extraInMovie });
}

MadeMp4 makeMp4(const Mp4Spec& spec)
{
    Bytes start = joined({ spec.inFront, box("ftyp", { bytes("M4A "), number(0, 4), bytes("M4A mp42isom") }) });
    Bytes media = mediaBox(spec);
    std::size_t header = media.size() - spec.media.size();
    std::size_t movieSize = movieBox(spec, 0).size();
    std::size_t around = movieSize + spec.freeBefore + spec.freeBehind;
    MadeMp4 made { .movieSize = movieSize };
    made.mediaOffset = start.size() + header + (spec.movieFirst ? around : 0);
    made.movieOffset = start.size() + spec.freeBefore + (spec.movieFirst ? 0 : media.size());
    Bytes movie = joined({ freeBox(spec.freeBefore), movieBox(spec, made.mediaOffset), freeBox(spec.freeBehind) });
    made.bytes
        = spec.movieFirst ? joined({ start, movie, media, spec.behind }) : joined({ start, media, movie, spec.behind });
    return made;
}

} // namespace mv::test
