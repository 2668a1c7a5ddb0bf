#include "cli/SheetPage.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

constexpr const char* Style = R"css(
:root { color-scheme: light dark; --back: #f4f4f2; --card: #fff; --text: #1d1d1f; --soft: #6d6d72; --line: #deded9;
  --shade: #e8e8e4; --accent: #1f6feb }
@media (prefers-color-scheme: dark) { :root { --back: #161618; --card: #222225; --text: #f0f0f2; --soft: #9d9da4;
  --line: #34343a; --shade: #2c2c31; --accent: #6ea8fe } }
* { box-sizing: border-box }
body { margin: 0; background: var(--back); color: var(--text); font: 15px/1.4 system-ui, sans-serif }
header { position: sticky; top: 0; z-index: 1; display: flex; flex-wrap: wrap; gap: 8px 16px; align-items: baseline;
  padding: 14px 24px; background: var(--back); border-bottom: 1px solid var(--line) }
h1 { margin: 0; font-size: 20px }
header p { margin: 0; color: var(--soft); flex: 1 }
input { font: inherit; padding: 6px 12px; width: 220px; color: inherit; background: var(--card);
  border: 1px solid var(--line); border-radius: 8px }
input:focus { outline: 2px solid var(--accent); border-color: transparent }
main { max-width: 1400px; margin: 0 auto; padding: 8px 24px 48px }
h2 { margin: 28px 0 12px; font-size: 17px }
h2 span, h3 span { color: var(--soft); font-weight: normal }
h3 { margin: 20px 0 10px; font-size: 15px }
.cards { display: grid; grid-template-columns: repeat(auto-fill, minmax(210px, 1fr)); gap: 16px }
figure { margin: 0; background: var(--card); border: 1px solid var(--line); border-radius: 10px; overflow: hidden }
.frame { aspect-ratio: 4 / 3; background: var(--shade); display: flex; align-items: center; justify-content: center }
.Music .frame { aspect-ratio: 1 }
.Video .frame { aspect-ratio: 13 / 9; background: #000 }
.frame img { width: 100%; height: 100%; object-fit: contain; display: block }
.frame b { font-size: 40px; color: var(--soft); font-weight: normal }
figcaption { padding: 10px 12px 12px }
figcaption > * { display: block; overflow: hidden; text-overflow: ellipsis; white-space: nowrap }
.title { font-weight: 600 }
.subtitle, .facts { color: var(--soft); font-size: 13px }
.facts { font-variant-numeric: tabular-nums }
[hidden] { display: none !important }
)css";

// Hides the cards whose texts do not hold what was typed, and the headings that are then left alone.
constexpr const char* Script = R"js(
const search = document.querySelector('input');
search.addEventListener('input', () => {
  const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
  for (const card of document.querySelectorAll('figure'))
    card.hidden = !words.every(word => card.dataset.search.includes(word));
  for (const part of document.querySelectorAll('section, .group'))
    part.hidden = !part.querySelector('figure:not([hidden])');
});
)js";

struct Part {
    SheetCard::Kind kind;
    const char* name;
    const char* heading;
    const char* symbol; ///< stands where a picture is missing
};

constexpr std::array Parts {
    Part { SheetCard::Kind::Picture, "Picture", "Pictures", "&#9635;" },
    Part { SheetCard::Kind::Music, "Music", "Music", "&#9834;" },
    Part { SheetCard::Kind::Video, "Video", "Videos", "&#9654;" },
};

std::string joined(const std::vector<std::string>& texts)
{
    std::string out;
    for (const std::string& text : texts)
        out += (out.empty() ? "" : " · ") + text;
    return out;
}

std::string cardHtml(const SheetCard& card, const Part& part)
{
    std::string facts = joined(card.facts);
    std::string search = toLowerAscii(card.title + " " + card.subtitle + " " + card.group + " " + card.file);
    std::string out = "<figure data-search=\"" + htmlText(search) + "\" title=\"" + htmlText(card.file) + "\">";
    out += "<div class=\"frame\">";
    if (card.picture.empty())
        out += std::string("<b>") + part.symbol + "</b>";
    else
        out += "<img loading=\"lazy\" alt=\"\" src=\"" + htmlText(card.picture) + "\">";
    out += "</div><figcaption><span class=\"title\">" + htmlText(card.title) + "</span>";
    if (!card.subtitle.empty())
        out += "<span class=\"subtitle\">" + htmlText(card.subtitle) + "</span>";
    return out + "<span class=\"facts\">" + htmlText(facts) + "</span></figcaption></figure>\n";
}

std::string partHtml(const std::vector<SheetCard>& cards, const Part& part)
{
    std::vector<const SheetCard*> own;
    for (const SheetCard& card : cards) {
        if (card.kind == part.kind)
            own.push_back(&card);
    }
    if (own.empty())
        return "";
    // Groups come in the order of their names, cards without one first; within a group the order stays.
    std::stable_sort(
        own.begin(), own.end(), [](const SheetCard* a, const SheetCard* b) { return a->group < b->group; });
    std::string out = std::string("<section class=\"") + part.name + "\"><h2>" + part.heading + " <span>"
        + std::to_string(own.size()) + "</span></h2>\n";
    for (std::size_t i = 0; i < own.size();) {
        const std::string& group = own[i]->group;
        out += "<div class=\"group\">";
        if (!group.empty())
            out += "<h3>" + htmlText(group) + "</h3>";
        out += "<div class=\"cards\">\n";
        for (; i < own.size() && own[i]->group == group; ++i)
            out += cardHtml(*own[i], part);
        out += "</div></div>\n";
    }
    return out + "</section>\n";
}

} // namespace

std::string htmlText(std::string_view text)
{
    std::string out;
    for (char byte : cleanedUtf8(text)) {
        switch (byte) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            // Control characters have no place in a page.
            out += static_cast<unsigned char>(byte) < 0x20 ? ' ' : byte;
        }
    }
    return out;
}

std::string sheetPage(const std::string& title, const std::vector<SheetCard>& cards)
{
    std::string count = cards.size() == 1 ? "1 file" : std::to_string(cards.size()) + " files";
    std::string out = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">"
                      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>"
        + htmlText(title) + "</title><style>" + Style + "</style></head>\n<body><header><h1>" + htmlText(title)
        + "</h1><p>" + count
        + "</p><input type=\"search\" placeholder=\"Search\" aria-label=\"Search\"></header>\n<main>\n";
    for (const Part& part : Parts)
        out += partHtml(cards, part);
    if (cards.empty())
        out += "<p>There is no file here that can be shown.</p>\n";
    return out + "</main><script>" + Script + "</script></body></html>\n";
}

} // namespace mv::cli
