#pragma once

#include "external/IVrelAPI.h"

#include <string>

namespace VrelRig {

/** An operation's messages to its caller; without a callback they are dropped. */
class OperationLog
{
public:
    OperationLog(VrelApiLogCallback callback, void* context)
        : m_callback(callback)
        , m_context(context)
    {
    }

    void firstPacket() const { send(kTrace, "Reading first packet from device"); }
    void sent(std::string const& packet) const { send(kTrace, "TX " + packet); }
    void received(std::string const& packet) const { send(kTrace, "RX " + packet); }
    void info(std::string const& text) const { send(kInfo, text); }
    void warning(std::string const& text) const { send(kWarning, text); }

private:
    static constexpr unsigned long kTrace = 1;
    static constexpr unsigned long kInfo = 2;
    static constexpr unsigned long kWarning = 3;

    void send(unsigned long level, std::string const& text) const
    {
        if (m_callback != nullptr)
            m_callback(level, text.c_str(), m_context);
    }

    VrelApiLogCallback m_callback;
    void* m_context;
};

} // namespace VrelRig
