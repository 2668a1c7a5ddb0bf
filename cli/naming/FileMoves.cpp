#include "cli/naming/FileMoves.h"

#include <map>

namespace mv::cli {

namespace {

constexpr const char* IsTwice = "is named twice";
constexpr const char* IsContested = "another file would get the same name";
constexpr const char* IsThere = "there is a file of its new name already";

class Ordering {
public:
    Ordering(const std::vector<FileMove>& moves, const IsInTheWay& isInTheWay)
        : m_moves(moves)
        , m_isInTheWay(isInTheWay)
    {
        m_order.refusals.resize(moves.size());
    }

    MoveOrder make()
    {
        refuseContested();
        while (refuseBlocked()) { }
        std::vector<bool> isDone(m_moves.size());
        for (std::size_t i = 0; i < m_moves.size(); ++i) {
            if (isMoving(i) && !isDone[i])
                addChain(i, isDone);
        }
        return std::move(m_order);
    }

private:
    bool isMoving(std::size_t i) const { return m_order.refusals[i].empty() && m_moves[i].from != m_moves[i].to; }

    void refuseContested()
    {
        std::map<std::string, std::vector<std::size_t>> wanted;
        for (std::size_t i = 0; i < m_moves.size(); ++i) {
            if (!m_byOldName.emplace(m_moves[i].from, i).second)
                m_order.refusals[i] = IsTwice;
            else
                wanted[m_moves[i].to].push_back(i);
        }
        for (const auto& [name, all] : wanted) {
            for (std::size_t i : all) {
                // One that has the name already keeps it.
                if (all.size() > 1 && m_moves[i].from != m_moves[i].to)
                    m_order.refusals[i] = IsContested;
            }
        }
    }

    /// One that is refused stays, and may then be in the way of another.
    bool refuseBlocked()
    {
        bool isAny = false;
        for (std::size_t i = 0; i < m_moves.size(); ++i) {
            if (!isMoving(i))
                continue;
            auto other = m_byOldName.find(m_moves[i].to);
            bool goesAway = other != m_byOldName.end() && isMoving(other->second);
            if (goesAway || !m_isInTheWay(i))
                continue;
            m_order.refusals[i] = IsThere;
            isAny = true;
        }
        return isAny;
    }

    /// The one whose old name is wanted goes first, and so on.
    void addChain(std::size_t first, std::vector<bool>& isDone)
    {
        std::vector<std::size_t> chain;
        for (std::size_t i = first;;) {
            chain.push_back(i);
            isDone[i] = true;
            auto next = m_byOldName.find(m_moves[i].to);
            if (next == m_byOldName.end() || !isMoving(next->second))
                break;
            if (next->second == first)
                return m_order.steps.push_back(std::move(chain));
            // What was done before begins a chain of its own, which is in front of this one.
            if (isDone[next->second])
                break;
            i = next->second;
        }
        for (auto at = chain.rbegin(); at != chain.rend(); ++at)
            m_order.steps.push_back({ *at });
    }

    const std::vector<FileMove>& m_moves;
    const IsInTheWay& m_isInTheWay;
    std::map<std::string, std::size_t> m_byOldName;
    MoveOrder m_order;
};

} // namespace

MoveOrder orderOf(const std::vector<FileMove>& moves, const IsInTheWay& isInTheWay)
{
    return Ordering(moves, isInTheWay).make();
}

} // namespace mv::cli
