#pragma once

#include "cli/facts/FactCondition.h"

#include <vector>

namespace mv::cli {

/// Conditions on the facts of a file, as people type them:
///
///     bitrate<128000
///     (artist~bach or composer~bach) and length>10:00 and not hasPicture
///
/// Fields by their names; = (or ==) != < <= > >= and ~ (contains), a field alone for its presence; and, or, not with
/// parentheses (or &&, ||, !). "not" binds most, "or" least. Values stand as they are or, where they hold blanks or
/// signs, in quotes. A value type.
class FactQuery {
public:
    /// Longer texts, and parentheses and negations in more than this of each other, are refused.
    static constexpr std::size_t MaxBytes = 10'000;
    static constexpr int MaxDepth = 100;

    /// Fails with a sentence that names the character at which the text is wrong.
    static Result<FactQuery> parse(std::string_view text);

    bool matches(const DescribedFile& file) const { return holds(m_root, file); }

private:
    struct Node {
        enum class Kind { Condition, Not, And, Or } kind;
        std::vector<FactCondition> condition = {}; ///< one of a condition, else none
        std::vector<Node> parts = {}; ///< one of a negation
    };
    class Parser;

    explicit FactQuery(Node root)
        : m_root(std::move(root))
    {
    }
    static bool holds(const Node& node, const DescribedFile& file);

    Node m_root;
};

} // namespace mv::cli
