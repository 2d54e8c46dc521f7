#pragma once

#include <cstddef>
#include <string>

#include "tool/Failure.h"

namespace tool {

/// What can't be done, gathered, so that one hears of all of it and not of the first alone.
class Problems {
public:
    void add(const Failure& failure);

    /// Adds what a step fails with. An interrupt is no problem but the end.
    template <class Step>
    void gather(Step step)
    {
        try {
            step();
        } catch (const Failure& failure) {
            if (failure.status() == statusInterrupted)
                throw;
            add(failure);
        }
    }

    std::size_t number() const { return _number; }

    /// A line for each, as far as there is memory for them.
    std::string text() const;

    /// That of all of them, where it is the same; of a mixture, wrong use if any is, and a failed device else.
    ExitStatus status() const { return _status; }

    /// @throws Failure that tells all of them, unless there is none.
    void throwIfAny() const;

private:
    std::size_t _number = 0;
    std::size_t _untold = 0;
    std::string _text;
    ExitStatus _status = statusDone;
};

} // namespace tool
