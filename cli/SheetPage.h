#pragma once

#include <string>
#include <vector>

namespace mv::cli {

/// One file on a contact sheet.
struct SheetCard {
    enum class Kind { Picture, Music, Video };

    Kind kind = Kind::Picture;
    std::string group; ///< what stands over the card's group: an album; empty for pictures and videos
    std::string title;
    std::string subtitle; ///< an artist, a camera
    std::vector<std::string> facts; ///< short: "3:05", "4032 x 3024"
    std::string file; ///< relative to the sheet's folder
    std::string picture; ///< a "data:" address; empty when the file has none
};

/// The page: one file without references to anything outside it. Every text is escaped here.
std::string sheetPage(const std::string& title, const std::vector<SheetCard>& cards);

/// Text as it may stand in HTML and in quoted attributes.
std::string htmlText(std::string_view text);

} // namespace mv::cli
