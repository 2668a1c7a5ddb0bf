#include "cli/facts/FactQuery.h"

#include "Base/Core/Text.h"
#include "cli/facts/FactTokens.h"

#include <algorithm>

namespace mv::cli {

/// Descends once for each level of precedence.
class FactQuery::Parser {
public:
    using Kind = FactToken::Kind;

    Parser(std::string_view text, std::vector<FactToken> tokens)
        : m_text(text)
        , m_tokens(std::move(tokens))
    {
    }

    Result<Node> parse()
    {
        MV_TRY(root, alternatives());
        if (token().kind != Kind::End)
            return fault(
                token().kind == Kind::Close ? "this parenthesis closes nothing" : "\"and\" or \"or\" is missing");
        return root;
    }

private:
    const FactToken& token() const { return m_tokens[m_next]; }
    Error fault(const std::string& sentence) const { return faultAt(m_text, token().place, sentence); }
    bool take(Kind kind)
    {
        if (token().kind != kind)
            return false;
        ++m_next;
        return true;
    }

    Result<Node> alternatives() { return chain(Kind::Or, Node::Kind::Or, &Parser::conjunction); }
    Result<Node> conjunction() { return chain(Kind::And, Node::Kind::And, &Parser::negation); }

    Result<Node> chain(Kind between, Node::Kind kind, Result<Node> (Parser::*part)())
    {
        MV_TRY(first, (this->*part)());
        if (token().kind != between)
            return first;
        Node node { kind };
        node.parts.push_back(std::move(first));
        while (take(between)) {
            MV_TRY(next, (this->*part)());
            node.parts.push_back(std::move(next));
        }
        return node;
    }

    Result<Node> negation()
    {
        if (token().kind != Kind::Not)
            return primary();
        MV_TRY_VOID(descend());
        ++m_next;
        MV_TRY(part, negation());
        --m_depth;
        Node node { Node::Kind::Not };
        node.parts.push_back(std::move(part));
        return node;
    }

    Result<Node> primary()
    {
        std::size_t opened = token().place;
        if (token().kind != Kind::Open)
            return condition();
        MV_TRY_VOID(descend());
        ++m_next;
        MV_TRY(inner, alternatives());
        if (token().kind == Kind::End)
            return faultAt(m_text, opened, "this parenthesis is not closed");
        if (!take(Kind::Close))
            return fault("\"and\" or \"or\" is missing");
        --m_depth;
        return inner;
    }

    Result<Node> condition()
    {
        if (token().kind != Kind::Word)
            return fault("the name of a field is missing");
        auto field = FactField::named(token().text);
        if (!field)
            return fault(field.error().text);
        ++m_next;
        if (token().kind != Kind::Comparison)
            return nodeOf(FactCondition::presence(*field));
        Comparison comparison = token().comparison;
        ++m_next;
        return comparisonWith(*field, comparison);
    }

    Result<Node> comparisonWith(const FactField& field, Comparison comparison)
    {
        Kind kind = token().kind;
        if (kind != Kind::Quoted && kindOfWord(token().text) != Kind::Word)
            return fault("a value is missing; the word \"" + token().text + "\" as a value has to be in quotes");
        if (kind != Kind::Word && kind != Kind::Quoted)
            return fault("a value is missing");
        auto made = FactCondition::compare(field, comparison, token().text);
        if (!made)
            return fault(made.error().text);
        ++m_next;
        return nodeOf(std::move(*made));
    }

    static Node nodeOf(FactCondition condition)
    {
        Node node { Node::Kind::Condition };
        node.condition.push_back(std::move(condition));
        return node;
    }

    Result<void> descend()
    {
        if (m_depth == MaxDepth)
            return fault("this is too deep inside of others");
        ++m_depth;
        return {};
    }

    std::string_view m_text;
    std::vector<FactToken> m_tokens;
    std::size_t m_next = 0;
    int m_depth = 0;
};

Result<FactQuery> FactQuery::parse(std::string_view text)
{
    if (text.size() > MaxBytes)
        return Error { Error::Kind::Limit, formatText("takes %zu bytes at most", MaxBytes) };
    MV_TRY(tokens, factTokens(text));
    MV_TRY(root, Parser(text, std::move(tokens)).parse());
    return FactQuery(std::move(root));
}

bool FactQuery::holds(const Node& node, const DescribedFile& file)
{
    auto partHolds = [&](const Node& part) { return holds(part, file); };
    switch (node.kind) {
    case Node::Kind::Condition:
        return node.condition.front().holds(file);
    case Node::Kind::Not:
        return !holds(node.parts.front(), file);
    case Node::Kind::And:
        return std::ranges::all_of(node.parts, partHolds);
    case Node::Kind::Or:
        return std::ranges::any_of(node.parts, partHolds);
    }
    return false;
}

} // namespace mv::cli
