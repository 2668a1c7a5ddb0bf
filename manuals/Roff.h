#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mv::manuals {

/// Text for a page in the language of man(7): characters that typesetting would change stay themselves.
std::string roffText(std::string_view text);
/// The same for what is typed: a dash is one that can be copied.
std::string roffLiteral(std::string_view text);

/// Running text with options in bold and the names of values in italics, in lines that editors show whole.
std::string roffProse(std::string_view text, std::span<const std::string> values);

/// What stands behind a program's name: options in bold, values in italics, each form on a line of its own.
std::string roffSynopsis(std::string_view program, std::string_view synopsis);

/// Paragraphs, parted by blank lines; lines that begin with blanks stand as they are.
std::string roffParagraphs(std::string_view text, std::span<const std::string> values);

} // namespace mv::manuals
