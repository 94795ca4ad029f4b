// Segmentation.h - flattening of curves, arcs and shapes into polylines, and
// the visitor that flattens a whole item tree into segmented primitives.
#ifndef KX_SVG_SEGMENTATION_H
#define KX_SVG_SEGMENTATION_H

#include <kx/svg/Export.h>
#include <kx/svg/Items.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/SegmentationOptions.h>
#include <kx/svg/SegmentedPrimitive.h>

#include <Wm4/Wm4BezierCurve2.h>
#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kx {
namespace svg {
namespace SegmentationUtils {

class BezierSegmentationWorkspace;

/// One leaf of the adaptive subdivision of a Bezier curve: a sub-curve whose
/// control points live in a block of the workspace. Building a job splits its
/// sub-curve at the middle (in place, De Casteljau) into two fresh blocks and
/// scores how much it still deserves to be split. A job owns no memory and is
/// copied bytewise.
class KXSVG_API SegmentationJob {
public:
    using iterator = std::vector<Wm4::Vector2<float>>::iterator;

    /// Stores the arguments and computes the split and the error. Never throws.
    SegmentationJob(BezierSegmentationWorkspace& workspace, iterator controlPoints, float parameter,
                    float step) noexcept;

    /// Splits the sub-curve at its middle into `getLeft()` and `getRight()`
    /// and sets the error. The job's own block then holds the curve point at
    /// the middle in its first element.
    void computeError(BezierSegmentationWorkspace& workspace) noexcept;

    /// The curve point at `getParameter()` (once the job is built).
    iterator getResult() const { return m_controlPoints; }
    /// Control points of the first and second half of the sub-curve.
    Wm4::Vector2<float>* getLeft() const { return m_left; }
    Wm4::Vector2<float>* getRight() const { return m_right; }
    /// Parameter of the sub-curve's middle on the whole curve.
    float getParameter() const { return m_parameter; }
    /// A quarter of the sub-curve's parameter span.
    float getStep() const { return m_step; }
    /// Splitting priority: [-1, 0] for pieces whose inner control points lie
    /// on one side of the chord (-1 straight), [0, 1] for S-shaped pieces.
    float getError() const { return m_error; }

private:
    iterator m_controlPoints;
    Wm4::Vector2<float>* m_left;
    Wm4::Vector2<float>* m_right;
    float m_parameter;
    float m_step;
    float m_error;
};

/// A bump allocator of control-point blocks, reused from curve to curve so
/// that flattening allocates nothing once it has grown to the largest need.
/// Not thread-safe; one per segmenter.
class KXSVG_API BezierSegmentationWorkspace {
public:
    using Storage = std::vector<Wm4::Vector2<float>>;

    BezierSegmentationWorkspace();
    /// A copy has its own storage with the cursor at the same block; the job
    /// scratch list is not copied (its jobs point into the source).
    BezierSegmentationWorkspace(const BezierSegmentationWorkspace& other);
    BezierSegmentationWorkspace(BezierSegmentationWorkspace&& other) noexcept;
    BezierSegmentationWorkspace& operator=(const BezierSegmentationWorkspace& other);
    BezierSegmentationWorkspace& operator=(BezierSegmentationWorkspace&& other) noexcept;
    ~BezierSegmentationWorkspace();

    /// Takes every block back and sizes the storage for a run of at most
    /// `maxJobs` jobs: 4 blocks when `maxJobs` is 0, else 4 x the smallest
    /// power of two not below `maxJobs`, of `numPoints` points each. Capacity
    /// that is already large enough is kept. Sizes that cannot be allocated
    /// at all throw `std::length_error`, like any allocation failure.
    void initWorkspace(unsigned long maxJobs, unsigned long numPoints);
    /// The next free block (no bounds check: `initWorkspace` sized the storage).
    Wm4::Vector2<float>* createVector();
    /// The next free block, filled with [first, last).
    Wm4::Vector2<float>* createVector(const Wm4::Vector2<float>* first, const Wm4::Vector2<float>* last);
    /// Points per block.
    unsigned long getNumPoints() const { return static_cast<unsigned long>(m_numPoints); }

    /// The storage iterator of a point handed out by `createVector`.
    Storage::iterator toIterator(const Wm4::Vector2<float>* p)
    {
        return m_storage.begin() + (p - m_storage.data());
    }
    /// Number of points in the storage (a whole number of blocks).
    std::size_t getStorageSize() const { return m_storage.size(); }
    /// Job list reused by `DeCasteljauSegmentBezier`, so that flattening a
    /// curve does not allocate once the workspace has grown.
    std::vector<SegmentationJob>& editJobScratch() { return m_jobs; }

private:
    uint64_t m_numPoints;
    Wm4::Vector2<float>* m_cursor;
    Storage m_storage;
    std::vector<SegmentationJob> m_jobs;
};

/// Subdivides a cubic curve, largest error first, until `maxJobs` leaves
/// exist or no leaf's error exceeds `tolerance`; `jobs` receives the leaves
/// sorted by parameter. A curve that is not cubic gives no leaves. With
/// `maxJobs` 0 or 1 the single leaf is the whole curve (its point at t = 0.5).
KXSVG_API void DeCasteljauGetBezierPoints(BezierSegmentationWorkspace& ws, const Wm4::BezierCurve2<float>& curve,
                                          std::vector<SegmentationJob>& jobs, unsigned int maxJobs, float tolerance);

/// Appends the flattened cubic to `out.points` (the start point when
/// `addStartPoint`, the leaf middles, the end point) and the index pairs
/// joining them to `out.lineIndices`; without the start point the first pair
/// joins the previous last point. When the point count could pass the 32-bit
/// index range, logs "Index overflow during segmentation" (level 2) and
/// appends nothing. A curve that is not cubic appends nothing.
KXSVG_API void DeCasteljauSegmentBezier(BezierSegmentationWorkspace& ws, const Wm4::BezierCurve2<float>& curve,
                                        SegmentedPrimitive& out, bool addStartPoint, unsigned int maxJobs,
                                        float tolerance);

/// Appends `count` + 1 samples of an elliptical arc (`count` without the start
/// point) at evenly spaced angles from `startAngle` over `sweepAngle`
/// (radians), with the index pairs joining them; `rotation` is the ellipse's
/// x-axis rotation in radians. `tolerance` is not used. `count` 0 appends
/// nothing; an index overflow is logged as for curves.
KXSVG_API void SegmentEllipticalArc(const Wm4::Vector2<float>& center, const Wm4::Vector2<float>& radii,
                                    float rotation, float startAngle, float sweepAngle,
                                    std::vector<Wm4::Vector2<float>>& points,
                                    std::vector<unsigned int>& lineIndices, bool addStartPoint, unsigned int count,
                                    float tolerance);

} // namespace SegmentationUtils

/// The two end points and the pair (0, 1), mapped through `transform` (null
/// means identity). Never filled; `props` is not used.
KXSVG_API std::shared_ptr<SegmentedPrimitive> SegmentLine(const Line& line, const Wm4::Matrix3<float>* transform,
                                                          const RenderingProperties* props);

/// The four corners as a closed contour, filled unless `props` says otherwise.
KXSVG_API std::shared_ptr<SegmentedPrimitive> SegmentRect(const Rect& rect, const Wm4::Matrix3<float>* transform,
                                                          const RenderingProperties* props, bool* fillFailed);

/// `count` evenly spaced points of the circle as a closed contour. `tolerance`
/// is accepted and ignored: the piece count alone decides.
KXSVG_API std::shared_ptr<SegmentedPrimitive> SegmentCircle(const Circle& circle, unsigned int count,
                                                            float tolerance, const Wm4::Matrix3<float>* transform,
                                                            const RenderingProperties* props, bool* fillFailed);

/// Every sub-path of the path in one primitive: lines as they are, cubics
/// flattened with at most `maxJobs` leaves and `tolerance`, arcs cut into
/// `maxJobs` pieces. `workspace` may be null (a local one is used then).
KXSVG_API std::shared_ptr<SegmentedPrimitive> SegmentPath(const Path& path, unsigned int maxJobs, float tolerance,
                                                          const Wm4::Matrix3<float>* transform,
                                                          const RenderingProperties* props,
                                                          SegmentationUtils::BezierSegmentationWorkspace* workspace,
                                                          bool* fillFailed);

/// A depth-first walker over the children of a group, in document order.
/// The walk keeps its own stack, so trees of any depth are walked without
/// deep recursion. `ItemT` is `ItemInterface` or `const ItemInterface`.
template <class ItemT>
class KXSVG_API VisitorBase {
public:
    using NodeType = typename std::conditional<std::is_const<ItemT>::value, const Node, Node>::type;

    virtual ~VisitorBase() = default;

protected:
    VisitorBase() = default;
    VisitorBase(const VisitorBase&) = default;
    VisitorBase& operator=(const VisitorBase&) = default;

    /// Visits every item below `root` (not `root` itself), parents before
    /// children. `enter(ItemT& item, NodeType* group)` is called for each item,
    /// with `group` non-null when the item is a group (or a document); when it
    /// returns true for a group, the group's children are visited and then
    /// `leave(NodeType& group)` is called. Empty child handles are skipped, and
    /// so is a group that is already open (a tree made cyclic through
    /// `editChildren`), which would otherwise be walked forever.
    template <class Enter, class Leave>
    static void walkChildren(NodeType& root, Enter&& enter, Leave&& leave)
    {
        struct Frame {
            NodeType* node;
            Node::Children::const_iterator next;
        };
        std::vector<Frame> stack;
        std::unordered_set<const Node*> open;
        stack.push_back(Frame{&root, root.getChildren().begin()});
        open.insert(&root);
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.next == top.node->getChildren().end()) {
                NodeType* done = top.node;
                stack.pop_back();
                open.erase(done);
                if (done != &root) leave(*done);
                continue;
            }
            const std::shared_ptr<ItemInterface>& child = *top.next;
            ++top.next;
            if (!child) continue;
            ItemT& item = *child;
            NodeType* group = dynamic_cast<NodeType*>(&item);
            if (group && open.count(group)) continue;
            if (enter(item, group) && group) {
                open.insert(group);
                stack.push_back(Frame{group, group->getChildren().begin()});
            }
        }
    }
};

/// Flattens a whole tree at construction: one primitive per line, rectangle,
/// circle and path, in document order and in document coordinates, each
/// carrying the item's presentation attributes completed from its ancestors.
/// A shape whose fill cannot be triangulated logs "Shape cannot be rendered.
/// Only its contour will be visible." (level 2), keeps its outline with
/// `SegmentedPrimitive::fillFailed` set (drawn in the fill's paint when it has
/// no stroke), and makes `hasError()` true. With the default options no
/// further shape is segmented after it; with
/// `SegmentationOptions::stopAtFirstFailedFill` off the walk goes on.
class KXSVG_API SegmenterVisitor : public VisitorBase<const ItemInterface> {
public:
    using Callback = std::function<bool(const ItemInterface&, const Wm4::Matrix3<float>&, const RenderingProperties&)>;
    using Primitives = std::list<std::shared_ptr<SegmentedPrimitive>>;

    /// Flattens `root` with the default options.
    explicit SegmenterVisitor(const Node& root);
    /// Flattens `root` with `options` (see `SegmentationOptions`).
    SegmenterVisitor(const Node& root, const SegmentationOptions& options);
    ~SegmenterVisitor() override;

    SegmenterVisitor(const SegmenterVisitor&) = delete;
    SegmenterVisitor& operator=(const SegmenterVisitor&) = delete;

    /// True when a fill failed during the walk.
    bool hasError() const { return m_error; }
    /// Number of shapes whose fill failed, in the walk and in `segmentObject` calls.
    std::size_t getFailedFillCount() const { return m_failedFills; }
    /// The options the visitor flattens with.
    const SegmentationOptions& getOptions() const { return m_options; }
    /// The primitives in traversal order; the caller may move them out.
    Primitives& getSegmentedPrimitives() { return m_primitives; }

    /// Segments one item under `transform` with the already cascaded `props`
    /// and appends the primitive. False only when the item's fill could not
    /// be built; items that are not shapes are ignored (true).
    bool segmentObject(const ItemInterface& item, const Wm4::Matrix3<float>& transform,
                       const RenderingProperties& props);

private:
    SegmentationOptions m_options;
    Callback m_callback;
    std::list<Wm4::Matrix3<float>> m_transforms;
    SegmentationUtils::BezierSegmentationWorkspace m_workspace;
    Primitives m_primitives;
    std::size_t m_failedFills = 0;
    bool m_error = false;
};

} // namespace svg
} // namespace kx

#endif
