#pragma once

/**
 * While it lives, the first SIGINT or SIGTERM ends nothing but asks for an end; a later one acts by default,
 * unless it comes within half a second and so may belong to the same request. A signal that was ignored stays
 * so. There is one object at a time.
 */
class Interruption
{
public:
    Interruption();
    ~Interruption();

    Interruption(Interruption const&) = delete;
    Interruption& operator=(Interruption const&) = delete;

    /** Whether an end was asked for; from any thread. */
    bool isRequested() const;

    /** Becomes readable once an end was asked for, and stays so: nobody is to read from it. */
    int descriptor() const;
};
