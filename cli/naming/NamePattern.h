#pragma once

#include "Base/Core/Result.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// Part of a name: what the pattern says, or the value of a field, which is somebody else's text.
struct NamePiece {
    std::string text;
    bool isValue = false;

    bool operator==(const NamePiece&) const = default;
};

/// What a file's name is made of: "{artist}/{track:02} {title}".
///
///   {field}          the field's value
///   {field:02}       a number with at least two digits; {field:2} fills up with blanks
///   {field|other}    where there is no value, `other`, which is a pattern itself: {albumArtist|{artist|Unknown}}
///   {{ and }}        braces
///   /                a folder ends, in what the pattern says alone
class NamePattern {
public:
    /// Fails with a sentence that says where: braces without their partner, no name, a name that `isField` refuses (its
    /// sentence), a width that is none, control characters, text that is no UTF-8, a folder "." or ".." or without a
    /// name, a pattern that is too long or whose fields stand too deep in one another.
    using FieldCheck = std::function<Result<void>(std::string_view name)>;
    static Result<NamePattern> parse(std::string_view text, const FieldCheck& isField);

    /// A value: nothing where the file has none. Numbers are decimal.
    using FieldValue = std::function<std::optional<std::string>(std::string_view name)>;
    /// Fails with a sentence where a field has neither a value nor another text for it. A value that is no number is
    /// taken as it is, whatever the width.
    Result<std::vector<NamePiece>> fill(const FieldValue& valueOf) const;

    static constexpr std::size_t MaxLength = 4096; ///< bytes
    static constexpr int MaxDepth = 8; ///< of fields in one another
    static constexpr int MaxWidth = 9; ///< digits

private:
    struct Part {
        std::string text; ///< what the pattern says, or the field's name
        bool isField = false;
        int width = 0;
        char fill = ' ';
        std::shared_ptr<const std::vector<Part>> otherwise; ///< null where there is none
    };
    class Parser;

    static Result<void> fillParts(
        const std::vector<Part>& parts, const FieldValue& valueOf, std::vector<NamePiece>& pieces);

    std::vector<Part> m_parts;
};

} // namespace mv::cli
