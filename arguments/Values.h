#pragma once

#include <span>

namespace mv {

/// What a value of an option, or a name on the command line, can be: what is taken, and what a shell offers for it.
struct Values {
    enum class Kind : unsigned char { Text, Number, Choice, File, Folder };

    Kind kind = Kind::Text;
    int minimum = 0; ///< of a number
    int maximum = 0;
    std::span<const char* const> words = {}; ///< of a choice
    /// Of a file: how names end that shells offer, "mp3 m4a"; any file is taken. Null: shells offer all.
    const char* endings = nullptr;
};

constexpr Values numberFrom(int minimum, int maximum)
{
    return { .kind = Values::Kind::Number, .minimum = minimum, .maximum = maximum };
}
/// `words` has to last as long as the program.
constexpr Values oneOf(std::span<const char* const> words) { return { .kind = Values::Kind::Choice, .words = words }; }
constexpr Values aFile(const char* endings = nullptr) { return { .kind = Values::Kind::File, .endings = endings }; }
constexpr Values aFolder() { return { .kind = Values::Kind::Folder }; }

} // namespace mv
