#include "service/tags/InvolvedPeople.h"

#include "Base/Core/ByteReader.h"
#include "id3/EncodedText.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace mv {

namespace {

/// What somebody did, and who: as stored, or both in UTF-16LE.
using Pair = std::pair<Bytes, Bytes>;

Bytes takeText(std::uint8_t encoding, ByteView& rest, bool asStored)
{
    ByteView text = takeString(encoding, rest);
    return asStored ? Bytes(text.begin(), text.end()) : utf16LEFromEncoded(encoding, text);
}

void addPairs(std::vector<Pair>& pairs, ByteView body, bool asStored)
{
    ByteView rest = body.subspan(1);
    while (!rest.empty()) {
        Bytes involvement = takeText(body[0], rest, asStored);
        Pair pair { std::move(involvement), takeText(body[0], rest, asStored) };
        bool says = !pair.first.empty() || !pair.second.empty();
        if (says && std::find(pairs.begin(), pairs.end(), pair) == pairs.end())
            pairs.push_back(std::move(pair));
    }
}

} // namespace

Bytes mergedInvolvedPeople(ByteView first, ByteView second)
{
    if (first.empty() || second.empty()) {
        ByteView one = first.empty() ? second : first;
        return { one.begin(), one.end() };
    }
    // Of bytes that both call Latin-1 the code page is still to be found out.
    bool asStored = first[0] == Id3EncodingLatin1 && second[0] == Id3EncodingLatin1;
    std::vector<Pair> pairs;
    addPairs(pairs, first, asStored);
    addPairs(pairs, second, asStored);
    if (!asStored) {
        EncodedBody body;
        for (Pair& pair : pairs) {
            for (Bytes* text : { &pair.first, &pair.second }) {
                body.string(std::move(*text));
                body.terminator();
            }
        }
        return body.bytes();
    }
    Bytes body { Id3EncodingLatin1 };
    ByteWriter writer(body);
    for (const Pair& pair : pairs) {
        for (const Bytes* text : { &pair.first, &pair.second }) {
            writer.bytes(*text);
            writer.u8(0);
        }
    }
    return body;
}

} // namespace mv
