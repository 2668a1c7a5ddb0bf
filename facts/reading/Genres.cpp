#include "facts/reading/Genres.h"

#include "Base/Media/GenreTable.h"

#include <array>
#include <charconv>
#include <optional>

namespace mv {

namespace {

struct Name {
    std::uint32_t number;
    std::string_view name;
};

/// Where the table keeps spellings that clients of the records have known for decades, what people write.
constexpr std::array RightSpellings {
    Name { 67, "Psychedelic" },
    Name { 85, "Bebop" },
    Name { 89, "Bluegrass" },
    Name { 141, "Christian Rock" },
    Name { 144, "Thrash Metal" },
};

/// The numbers behind the table's, which later players added.
constexpr std::array<std::string_view, 44> LaterGenres { "Abstract", "Art Rock", "Baroque", "Bhangra", "Big Beat",
    "Breakbeat", "Chillout", "Downtempo", "Dub", "EBM", "Eclectic", "Electro", "Electroclash", "Emo", "Experimental",
    "Garage", "Global", "IDM", "Illbient", "Industro-Goth", "Jam Band", "Krautrock", "Leftfield", "Lounge", "Math Rock",
    "New Romantic", "Nu-Breakz", "Post-Punk", "Post-Rock", "Psytrance", "Shoegaze", "Space Rock", "Trop Rock",
    "World Music", "Neoclassical", "Audiobook", "Audio Theatre", "Neue Deutsche Welle", "Podcast", "Indie Rock",
    "G-Funk", "Dubstep", "Garage Rock", "Psybient" };

std::optional<std::string> codedGenre(std::string_view code)
{
    if (code == "RX")
        return "Remix";
    if (code == "CR")
        return "Cover";
    std::uint32_t number = 0;
    auto [end, error] = std::from_chars(code.data(), code.data() + code.size(), number);
    if (error != std::errc {} || end != code.data() + code.size())
        return std::nullopt;
    std::string_view name = genreOfNumber(number);
    return name.empty() ? std::nullopt : std::optional(std::string(name));
}

} // namespace

std::string_view genreOfNumber(std::uint32_t number)
{
    for (const Name& right : RightSpellings) {
        if (right.number == number)
            return right.name;
    }
    if (number < ID3_v1_genre_description.size())
        return ID3_v1_genre_description[number];
    std::size_t later = number - ID3_v1_genre_description.size();
    return later < LaterGenres.size() ? LaterGenres[later] : std::string_view();
}

std::vector<std::string> genresOfContentType(std::string_view text)
{
    constexpr std::size_t MaxGenres = 64;
    std::vector<std::string> genres;
    while (text.size() > 1 && text[0] == '(' && text[1] != '(' && genres.size() < MaxGenres) {
        auto close = text.find(')');
        auto genre = close == std::string_view::npos ? std::nullopt : codedGenre(text.substr(1, close - 1));
        if (!genre)
            break;
        genres.push_back(std::move(*genre));
        text.remove_prefix(close + 1);
    }
    if (text.starts_with("(("))
        text.remove_prefix(1);
    if (text.empty())
        return genres;
    // Words behind a number refine it: "(4)Eurodisco" is Eurodisco.
    if (!genres.empty())
        genres.pop_back();
    genres.push_back(codedGenre(text).value_or(std::string(text)));
    return genres;
}

} // namespace mv
