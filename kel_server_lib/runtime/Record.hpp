#pragma once

#include <memory>
#include <vector>

namespace Quarlen::Kel_cpp {

/// Base of everything that crosses the facade by shared pointer. A runtime may derive its own
/// richer records from the ones declared in this folder.
struct Record {
    Record() = default;
    Record(const Record&) = default;
    Record(Record&&) = default;
    Record& operator=(const Record&) = default;
    Record& operator=(Record&&) = default;
    virtual ~Record() = default;
};

/// Ordered list of shared records, the facade's usual shape for "many of something".
template <class Element>
using RecordList = std::vector<std::shared_ptr<Element>>;

} // namespace Quarlen::Kel_cpp
