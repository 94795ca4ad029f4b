// CrossingCheck.h - a quick search for a crossing that the trapezoidal map build would stop at (internal).
#ifndef KX_TRIANGULATE_CROSSINGCHECK_H
#define KX_TRIANGULATE_CROSSINGCHECK_H

#include "TrapezoidRepresentation.h"

#include <vector>

namespace kx {
namespace impl {

/// True when two of `segments` (sorted by left vertex, as the triangulation
/// keeps them) cross at a point that no vertex of `vertices` lies on and that
/// no third segment running along either of them covers. Splitting segments
/// where vertices touch them and merging the pieces that coincide keep such a
/// crossing, so building the map of these segments would certainly fail.
///
/// A sweep from left to right over the segments, bounded to a few tests per
/// segment: false when nothing was found within that work, so a false answer
/// proves nothing. Never throws.
bool HasCertainCrossing(const VertexSet& vertices, const LargeArray<MapSegment>& segments);

} // namespace impl
} // namespace kx

#endif
