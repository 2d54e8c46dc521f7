#pragma once

#include <string>

#include "tool/CopyPlan.h"
#include "tool/Failure.h"
#include "tool/Interrupts.h"

namespace tool {

/// The SOURCE can't be read, while the destination may well be written.
struct SourceFailure : Failure {
    explicit SourceFailure(const Failure& failure) : Failure(failure) {}
};

template <class Step>
decltype(auto) onSource(Step step)
{
    try {
        return step();
    } catch (const Failure& failure) {
        throw SourceFailure(failure);
    }
}

inline Failure withPath(const std::string& path, const Failure& failure)
{
    return {failure.status(), failure.status() == statusInterrupted ? failure.what() : path + ": " + failure.what()};
}

/// A failure tells the step; this adds the entry. @param before what stands before its path.
template <class Step>
void onEntry(const CopySource& source, std::size_t index, const char* before, Step step)
{
    stopIfInterrupted();
    try {
        step();
    } catch (const SourceFailure& failure) {
        throw SourceFailure(withPath(before + source.pathOf(index), failure));
    } catch (const Failure& failure) {
        throw withPath(before + source.pathOf(index), failure);
    }
}

} // namespace tool
