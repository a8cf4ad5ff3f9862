#pragma once
// The parallel loop over vertices that every field uses: grain 1, automatic
// partitioning, nothing started for an empty range. Each call of body(v) must
// write only what belongs to vertex v.

#include <cstddef>

#include <oneapi/tbb/blocked_range.h>
#include <oneapi/tbb/parallel_for.h>

namespace Zelkov::Geometry::detail {

template <class Body>
void for_each_vertex(std::size_t count, const Body& body)
{
    if (count == 0) return;
    oneapi::tbb::parallel_for(
        oneapi::tbb::blocked_range<std::size_t>(0, count, 1),
        [&](const oneapi::tbb::blocked_range<std::size_t>& range) {
            for (std::size_t v = range.begin(); v != range.end(); ++v) body(v);
        },
        oneapi::tbb::auto_partitioner());
}

}  // namespace Zelkov::Geometry::detail
