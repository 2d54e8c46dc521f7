#pragma once

#include <vector>

#include "tool/CopyPlan.h"
#include "tool/Destination.h"
#include "tool/FileCopier.h"

namespace tool {

/// Reads from a medium what was written to it.
class Comparison {
public:
    Comparison(Destination& destination, FileCopier& copier) : _destination(destination), _copier(copier) {}

    /// Has the medium read anew and compares what lies in the temporary folder.
    void compare(const std::vector<CopySource*>& group);

    /// The same for the final names. The drive may have lost what came behind the comparison.
    /// @param counted counts the SOURCEs that are there.
    void compareNames(const std::vector<CopySource>& sources, std::size_t& counted);

    /// Whether names were read anew, too, by what was compared.
    bool comparedNames() const { return _comparedNames; }

private:
    void compareSource(const CopySource& source);

    Destination& _destination;
    FileCopier& _copier;
    bool _comparedNames = false;
};

} // namespace tool
