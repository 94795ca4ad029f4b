// ExactPredicates.h - orientation of three points, exact for every finite input (internal).
//
// The sign of (b - a) x (c - a) decides which side of a line a point lies on;
// one wrong sign makes the trapezoidal map inconsistent or lets two segments
// cross unseen. The determinant is first evaluated in double precision and
// trusted when it exceeds a bound on its rounding error (Shewchuk's filter,
// "Adaptive Precision Floating-Point Arithmetic and Fast Robust Geometric
// Predicates", 1997). The rare remaining cases are evaluated exactly with
// floating-point expansions (sums of non-overlapping doubles), which is
// exact for all finite doubles whose products neither overflow nor lose
// bits to underflow: always so for single-precision inputs.
//
// This file must be compiled without contraction into fused multiply-add
// (-ffp-contract=off): the error-free transformations below rely on every
// product and sum being rounded on its own.
#ifndef KX_TRIANGULATE_EXACTPREDICATES_H
#define KX_TRIANGULATE_EXACTPREDICATES_H

#include <cmath>

namespace kx {
namespace impl {

/// The sign of the determinant computed exactly; called when the filter in
/// `Orient2d` cannot decide.
int Orient2dExact(double ax, double ay, double bx, double by, double cx, double cy);

/// Sign of (b - a) x (c - a): > 0 when c lies left of a->b (counter-clockwise),
/// < 0 right of it, 0 exactly on the line. Exact for single-precision inputs.
inline int Orient2d(double ax, double ay, double bx, double by, double cx, double cy) {
    const double left = (bx - ax) * (cy - ay);
    const double right = (by - ay) * (cx - ax);
    const double det = left - right;
    // Error bound of the expression above (Shewchuk's ccwerrboundA, with
    // epsilon = 2^-53): any |det| beyond it has the true sign.
    constexpr double kEpsilon = 1.1102230246251565e-16;
    constexpr double kBound = (3.0 + 16.0 * kEpsilon) * kEpsilon;
    const double bound = kBound * (std::fabs(left) + std::fabs(right));
    if (det > bound) return 1;
    if (det < -bound) return -1;
    return Orient2dExact(ax, ay, bx, by, cx, cy);
}

} // namespace impl
} // namespace kx

#endif
