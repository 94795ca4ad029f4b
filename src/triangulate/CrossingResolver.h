// CrossingResolver.h - splits segments where they cross, touch or overlap (internal).
#ifndef KX_TRIANGULATE_CROSSINGRESOLVER_H
#define KX_TRIANGULATE_CROSSINGRESOLVER_H

#include "TrapezoidRepresentation.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx {
namespace impl {

/// Thrown when an outline cannot be filled, with a sentence that says why.
class FillFailure : public std::runtime_error {
public:
    explicit FillFailure(const std::string& reason) : std::runtime_error(reason) {}
};

/// A segment between two points given by index, `a` before `b` in (x, y)
/// order, with the winding contribution it carries from a to b.
struct ArrangementSegment {
    uint32_t a;
    uint32_t b;
    int32_t delta;
};

/// Makes a set of segments planar: afterwards no two segments cross, no
/// point lies inside a segment, and segments that ran along each other are
/// split into identical pieces (which the caller merges).
///
/// Crossings are decided with exact orientation tests. A crossing point is
/// computed in double precision, rounded to the nearest float and clamped to
/// both segments' boxes; both segments are bent through it. Rounding can
/// make a bent piece cross something new, so the search runs again over the
/// changed pieces until nothing crosses. Candidate pairs come from a
/// recursive halving of the plane, so the work is near (n + k) log n for n
/// segments and k crossings on outlines of short segments.
///
/// `points` (single-precision values, unique coordinates) receives the new
/// crossing points at its end; `segments` is replaced by the pieces. Throws
/// FillFailure when the work bound is exceeded or the splitting does not
/// settle.
void ResolveCrossings(std::vector<VertexSet::Coordinates>& points, std::vector<ArrangementSegment>& segments);

} // namespace impl
} // namespace kx

#endif
