#pragma once

#include "external/JsonObject.h"

#include <QString>

#include <functional>

class LogHandler;

/**
 * Compares tokens that were written with what is read back. The files with what was read are for this user
 * alone, and do not outlive the process, however it ends: another process waits for its end and removes them.
 */
class TokenCheck
{
public:
    TokenCheck();
    ~TokenCheck();

    TokenCheck(TokenCheck const&) = delete;
    TokenCheck& operator=(TokenCheck const&) = delete;

    /** Why it cannot be done; empty when it can. */
    QString const& fault() const { return m_fault; }

    /** Why the token of a writetoken request cannot be compared later; empty when it can. */
    static QString fault(JsonObject const& written);

    /**
     * What a writetoken request has written. From any thread.
     * @param readBack runs a request on the same device
     * @return whether it was read back and is the same; otherwise the cause is logged at level 1
     */
    bool isRight(JsonObject const& written, std::function<bool(JsonObject const&)> const& readBack,
                 LogHandler& log) const;

private:
    QString const m_directory;
    QString m_fault;
    int m_life = -1; ///< the other process sees it closed when this one ends
    int m_remover = 0;
};
