#pragma once

#include "external/IVrelAPI.h"

#include <QString>

#include <functional>
#include <memory>

class Call;

/** Has calls answered. From any thread. */
class Journal
{
public:
    /** Calls the vendor's operation, with this receiver of its messages. */
    using Pass = std::function<int(VrelApiLogCallback log, void* context)>;

    virtual ~Journal() = default;

    /** @param errorText, log, context those of the call; null where the operation has none */
    virtual int answer(Call const& call, char* errorText, VrelApiLogCallback log, void* context,
                       Pass const& pass) = 0;

    /** Passes calls on, and adds each one's line to the file once it is answered. */
    static std::unique_ptr<Journal> recordTo(QString const& file);
    /** Answers from the file's lines, each once, device list and version from the last one again. Passes on
     * nothing. */
    static std::unique_ptr<Journal> playFrom(QString const& file);
};
