#pragma once

/**
 * While it lives, the first SIGINT or SIGTERM ends nothing but asks for an end; the second acts by default. A
 * signal that was ignored stays so. There is one object at a time.
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
