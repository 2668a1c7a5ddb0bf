#pragma once

#include "system/Mutex.h"

#include <chrono>

namespace mv {

/// Whose turn it is at a connection that more than one thread uses. The thread that serves it has the turn but while it
/// waits for messages and while it does what a call asks for; then another may send by it. Not recursive.
class BusTurn {
public:
    /// For the thread that serves the connection: takes the turn when nobody else wants it.
    void take() MV_EXCLUDES(m_lock);
    /// For another thread: comes before who serves, however busy that is. False when it did not come in time.
    bool takeWithin(std::chrono::milliseconds longest) MV_EXCLUDES(m_lock);
    void give() MV_EXCLUDES(m_lock);
    /// For who has the turn: gives it to another thread that wants it, and takes it again after that.
    void letOthersPass() MV_EXCLUDES(m_lock);

private:
    void awaitTurn() MV_REQUIRES(m_lock);

    Mutex m_lock;
    std::condition_variable_any m_given;
    bool m_taken MV_GUARDED_BY(m_lock) = false;
    int m_others MV_GUARDED_BY(m_lock) = 0; // that want it
};

/// Takes the turn for a scope; nothing happens where there is none to take.
class TurnTaken {
public:
    explicit TurnTaken(BusTurn* turn)
        : m_turn(turn)
    {
        if (m_turn)
            m_turn->take();
    }
    ~TurnTaken()
    {
        if (m_turn)
            m_turn->give();
    }
    TurnTaken(const TurnTaken&) = delete;
    TurnTaken& operator=(const TurnTaken&) = delete;

private:
    BusTurn* m_turn;
};

/// Gives the turn away for a scope; nothing happens where there is none to give.
class TurnGiven {
public:
    explicit TurnGiven(BusTurn* turn)
        : m_turn(turn)
    {
        if (m_turn)
            m_turn->give();
    }
    ~TurnGiven()
    {
        if (m_turn)
            m_turn->take();
    }
    TurnGiven(const TurnGiven&) = delete;
    TurnGiven& operator=(const TurnGiven&) = delete;

private:
    BusTurn* m_turn;
};

} // namespace mv
