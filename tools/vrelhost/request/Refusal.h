#pragma once

#include <QString>

#include <exception>
#include <utility>

/**
 * Why the tool does nothing of what it was asked for: the arguments or the request are at fault. It stays
 * within its thread, and never passes through the library.
 */
class Refusal : public std::exception
{
public:
    enum Advice
    {
        SeeUsage, ///< the help shows what is right
        NoAdvice  ///< but for what the cause says
    };

    /** @param cause a sentence without its end */
    explicit Refusal(QString cause, Advice advice = SeeUsage)
        : m_cause(std::move(cause))
        , m_advice(advice)
    {
    }

    QString const& cause() const { return m_cause; }
    Advice advice() const { return m_advice; }

private:
    QString m_cause;
    Advice m_advice;
};

/** Refuses what the help says nothing more about. */
[[noreturn]] inline void refuse(QString const& cause)
{
    throw Refusal(cause, Refusal::NoAdvice);
}
