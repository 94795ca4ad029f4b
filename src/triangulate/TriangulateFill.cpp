// TriangulateFill.cpp - fills and fill boundaries of outlines that may cross themselves.
//
// The plain triangulation is tried first: it is exact on outlines that do
// not cross, and most do. Only when it refuses the outline are the crossings
// resolved and the map built again from the pieces; an outline found to cross
// by a quick sweep skips that first attempt.
#include "CrossingResolver.h"
#include "Triangulator.h"

#include <kx/svg/Triangulate.h>

#include <cmath>
#include <exception>
#include <new>
#include <string>

namespace kx {
namespace {

// Checks what the triangulation refuses without a reason of its own, so
// that the caller learns which input made the fill impossible.
bool CheckInput(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
                const FillOptions& options, std::string& reason) {
    if (edgeIndices.size() % 2 != 0) {
        reason = "The segment list has an odd number of indices (" + std::to_string(edgeIndices.size()) + ").";
        return false;
    }
    for (std::size_t i = 0; i < edgeIndices.size(); ++i) {
        const unsigned int index = edgeIndices[i];
        if (index >= points.size()) {
            reason = "Segment " + std::to_string(i / 2) + " uses point " + std::to_string(index) +
                     ", but there are only " + std::to_string(points.size()) + " points.";
            return false;
        }
        if (!std::isfinite(points[index].X()) || !std::isfinite(points[index].Y())) {
            reason = "Point " + std::to_string(index) + " has a coordinate that is not a finite number.";
            return false;
        }
        if (!options.skipZeroLengthSegments && (i % 2) == 1 && points[edgeIndices[i - 1]] == points[index]) {
            reason = "Segment " + std::to_string(i / 2) + " has zero length.";
            return false;
        }
    }
    return true;
}

// Runs `work` on a fresh triangulator, first as is, then with crossings
// resolved when that is allowed and needed.
template <class Work>
bool RunFill(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
             const FillOptions& options, std::string* reason, Work&& work) {
    std::string why;
    if (!CheckInput(points, edgeIndices, options, why)) {
        if (reason) *reason = why;
        return false;
    }
    for (int pass = 0; pass < 2; ++pass) {
        bool resolve = pass == 1;
        if (resolve && !options.resolveCrossings) break;
        try {
            impl::Triangulator triangulator(points, edgeIndices, options.rule, options.skipZeroLengthSegments,
                                            resolve);
            // An outline with a crossing that the plain map build would stop
            // at goes straight to the resolution.
            if (!resolve && options.resolveCrossings && triangulator.crossesCertainly()) {
                resolve = true;
                triangulator.resolveCrossingsFromNowOn();
            }
            work(triangulator);
            return true;
        } catch (const impl::FillFailure& failure) {
            why = failure.what();
            break;
        } catch (const std::bad_alloc&) {
            why = "Not enough memory to fill the outline.";
            break;
        } catch (...) {
            why = resolve ? "The outline could not be filled consistently once its crossings were split."
                          : "The outline crosses itself or overlaps itself.";
            if (resolve) break;
        }
    }
    if (reason) *reason = why;
    return false;
}

} // namespace

bool TriangulateFill(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
                     std::vector<Wm4::Vector2<float>>& outPoints, std::vector<unsigned int>& outIndices,
                     const FillOptions& options, std::string* reason) {
    const bool ok = RunFill(points, edgeIndices, options, reason, [&](impl::Triangulator& triangulator) {
        outPoints.clear();
        outIndices.clear();
        triangulator.run(outPoints, outIndices);
    });
    if (!ok) {
        outPoints.clear();
        outIndices.clear();
    }
    return ok;
}

bool ComputeFillBoundary(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edgeIndices,
                         std::vector<FillRing>& rings, const FillOptions& options, std::string* reason) {
    const bool ok = RunFill(points, edgeIndices, options, reason, [&](impl::Triangulator& triangulator) {
        rings.clear();
        triangulator.runBoundary(rings);
    });
    if (!ok) rings.clear();
    return ok;
}

} // namespace kx
