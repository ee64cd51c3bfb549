#pragma once

/** Counts when it is freed. */
template <typename Base>
struct Counted : Base
{
    explicit Counted(int& counter)
        : freed(counter)
    {
    }
    ~Counted() override { ++freed; }
    int& freed;
};
