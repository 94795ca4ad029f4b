// SegmentationCommon.h - small helpers shared by the segmentation sources.
#ifndef KX_SVG_SEGMENT_SEGMENTATIONCOMMON_H
#define KX_SVG_SEGMENT_SEGMENTATIONCOMMON_H

#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentationOptions.h>

#include <Wm4/Wm4Vector2.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace kx {
namespace svg {
namespace impl {

/// Log tag and message of the one failure flattening reports.
extern const char* const kSegmentationLogTag;
extern const char* const kIndexOverflowMessage;

/// Outline indices are 32-bit: no primitive may hold more points than this.
constexpr uint64_t kMaxPointIndex = 4294967295ull;

/// True (after logging the overflow message at level 2) when appending
/// `extra` points to `currentCount` could pass the 32-bit index range.
bool CheckIndexOverflow(uint64_t currentCount, uint64_t extra);

/// Makes room for `extra` more points, growing geometrically so that
/// repeated appends stay linear overall.
template <class T>
inline void ReserveMore(std::vector<T>& v, std::size_t extra)
{
    const std::size_t needed = v.size() + extra;
    if (needed > v.capacity()) {
        std::size_t doubled = v.capacity() * 2;
        v.reserve(needed > doubled ? needed : doubled);
    }
}

/// Appends the pairs (i, i + 1) that join the points from `firstNew` (the
/// first point appended by the caller) to the end of `pointCount` points.
/// With `joinPrevious`, the previous last point is joined to the first new
/// one, when there is a previous point.
inline void AppendChainIndices(std::vector<unsigned int>& lineIndices, uint64_t firstNew, uint64_t pointCount,
                               bool joinPrevious)
{
    uint64_t i = firstNew;
    if (joinPrevious && firstNew > 0) --i;
    if (pointCount < 2) return;
    ReserveMore(lineIndices, pointCount > i ? static_cast<std::size_t>(2 * (pointCount - 1 - i)) : 0);
    for (; i + 1 < pointCount; ++i) {
        lineIndices.push_back(static_cast<unsigned int>(i));
        lineIndices.push_back(static_cast<unsigned int>(i + 1));
    }
}

/// The pairs of `indices` followed by a closing pair (end, start) for every
/// open chain (a run of pairs joined by index) whose ends are farther apart
/// than a thousandth of the outline's extent, into `closed`: what the fill of
/// an outline with open sub-paths is triangulated from. Returns false, and
/// leaves `closed` alone, when no chain needs one.
bool CloseOpenChains(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& indices,
                     std::vector<unsigned int>& closed);

/// The fill of an outline in item coordinates, as every segmented shape gets
/// it: the contour is cleaned (`lineIndices` changes in place) unless
/// `options.cleanupContours` is off, open chains get their closing pairs, and
/// the result is triangulated by `options.fillRule`, through
/// `kx::TriangulateFill` when `options.resolveCrossings` is on and
/// `kx::TriangulatePoly` otherwise. Only the fill fields of `options` are read.
/// False, with empty outputs, when the fill cannot be triangulated. Logs nothing.
bool TriangulateOutlineFill(std::vector<Wm4::Vector2<float>>& points, std::vector<unsigned int>& lineIndices,
                            std::vector<Wm4::Vector2<float>>& trianglePoints,
                            std::vector<unsigned int>& triangleIndices,
                            const SegmentationOptions& options = SegmentationOptions());

/// `SegmentedPrimitive::FromContour` with the fill settings of `options`, and
/// the stroke mesh when `options.strokeMeshes` asks for it. `closedEnds`
/// (ascending point indices, may be null) lists the last points of sub-paths
/// that a close-path ends; chains that end on their own first index are closed too.
SegmentedPrimitive FromContour(std::vector<Wm4::Vector2<float>>&& points, std::vector<unsigned int>&& lineIndices,
                               const Wm4::Matrix3<float>* transform, const RenderingProperties* props,
                               const SegmentationOptions& options, bool* fillFailed,
                               const std::vector<unsigned int>* closedEnds = nullptr);

/// The shape segmenters with every setting taken from `options`: circles get
/// `circlePieces` points, cubics at most `bezierMaxLeaves` leaves with
/// `bezierTolerance`, arcs `arcPieces` pieces, and fills follow the fill
/// settings. The public functions of the same names are these with the
/// default options and their explicit counts.
std::shared_ptr<SegmentedPrimitive> SegmentRect(const Rect& rect, const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* props, const SegmentationOptions& options,
                                                bool* fillFailed);
std::shared_ptr<SegmentedPrimitive> SegmentCircle(const Circle& circle, const Wm4::Matrix3<float>* transform,
                                                  const RenderingProperties* props,
                                                  const SegmentationOptions& options, bool* fillFailed);
std::shared_ptr<SegmentedPrimitive> SegmentPath(const Path& path, const Wm4::Matrix3<float>* transform,
                                                const RenderingProperties* props,
                                                SegmentationUtils::BezierSegmentationWorkspace* workspace,
                                                const SegmentationOptions& options, bool* fillFailed);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
