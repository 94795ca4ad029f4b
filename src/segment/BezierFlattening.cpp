// BezierFlattening.cpp - adaptive De Casteljau flattening of cubic curves.
#include <kx/svg/Segmentation.h>

#include "segment/SegmentationCommon.h"

#include <kx/system/kxLog.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <stdexcept>

namespace kx {
namespace svg {

namespace impl {

const char* const kSegmentationLogTag = "svg";
const char* const kIndexOverflowMessage = "Index overflow during segmentation";

bool CheckIndexOverflow(uint64_t currentCount, uint64_t extra)
{
    if (currentCount + extra <= kMaxPointIndex) return false;
    kxLog::write(2, kSegmentationLogTag, kIndexOverflowMessage);
    return true;
}

} // namespace impl

namespace SegmentationUtils {

namespace {

using Vec2 = Wm4::Vector2<float>;

inline float Cross(const Vec2& a, const Vec2& b) { return a.X() * b.Y() - a.Y() * b.X(); }

// Blocks needed for a run of at most maxJobs jobs: the root takes three
// blocks and every split four, so m jobs take 4m - 1; rounding m up to a
// power of two keeps the storage size stable across similar calls.
uint64_t BlockCountFor(unsigned long maxJobs)
{
    if (maxJobs == 0) return 4;
    // Beyond this the count could not be represented, let alone allocated.
    if (static_cast<uint64_t>(maxJobs) > (uint64_t(1) << 40)) throw std::length_error("Bezier workspace too large");
    uint64_t power = 1;
    while (power < static_cast<uint64_t>(maxJobs)) power <<= 1;
    return 4 * power;
}

// Splits are chosen largest error first, the earliest job among equal
// errors (what a first-to-last scan for the largest finds). Up to this many
// jobs, a binary heap of job indices on the stack makes that choice in
// logarithmic time instead of a scan of every job.
constexpr unsigned long kMaxHeapJobs = 256;

// True when job `a` is split before job `b`; a strict order as long as no
// error is NaN (NaN errors make the selection fall back to the scan).
inline bool SplitsBefore(const std::vector<SegmentationJob>& jobs, uint32_t a, uint32_t b)
{
    const float ea = jobs[a].getError(), eb = jobs[b].getError();
    if (ea > eb) return true;
    if (eb > ea) return false;
    return a < b;
}

void SiftDown(const std::vector<SegmentationJob>& jobs, uint32_t* heap, std::size_t size, std::size_t at)
{
    for (;;) {
        const std::size_t left = 2 * at + 1;
        if (left >= size) return;
        std::size_t best = left;
        if (left + 1 < size && SplitsBefore(jobs, heap[left + 1], heap[left])) best = left + 1;
        if (!SplitsBefore(jobs, heap[best], heap[at])) return;
        std::swap(heap[best], heap[at]);
        at = best;
    }
}

void SiftUp(const std::vector<SegmentationJob>& jobs, uint32_t* heap, std::size_t at)
{
    while (at > 0) {
        const std::size_t parent = (at - 1) / 2;
        if (!SplitsBefore(jobs, heap[at], heap[parent])) return;
        std::swap(heap[at], heap[parent]);
        at = parent;
    }
}

} // namespace

// ------------------------------------------------------------------ workspace

BezierSegmentationWorkspace::BezierSegmentationWorkspace() : m_numPoints(0), m_cursor(nullptr) {}

BezierSegmentationWorkspace::BezierSegmentationWorkspace(const BezierSegmentationWorkspace& other)
    : m_numPoints(other.m_numPoints), m_cursor(nullptr), m_storage(other.m_storage)
{
    // The cursor is an address: rebase it onto the new storage.
    if (other.m_cursor) m_cursor = m_storage.data() + (other.m_cursor - other.m_storage.data());
}

BezierSegmentationWorkspace::BezierSegmentationWorkspace(BezierSegmentationWorkspace&& other) noexcept
    : m_numPoints(other.m_numPoints), m_cursor(other.m_cursor), m_storage(std::move(other.m_storage)),
      m_jobs(std::move(other.m_jobs))
{
    // A moved vector keeps its buffer, so the cursor stays valid here.
    other.m_numPoints = 0;
    other.m_cursor = nullptr;
    other.m_storage.clear();
    other.m_jobs.clear();
}

BezierSegmentationWorkspace& BezierSegmentationWorkspace::operator=(const BezierSegmentationWorkspace& other)
{
    if (this != &other) *this = BezierSegmentationWorkspace(other);
    return *this;
}

BezierSegmentationWorkspace& BezierSegmentationWorkspace::operator=(BezierSegmentationWorkspace&& other) noexcept
{
    if (this != &other) {
        m_numPoints = other.m_numPoints;
        m_cursor = other.m_cursor;
        m_storage = std::move(other.m_storage);
        m_jobs = std::move(other.m_jobs);
        other.m_numPoints = 0;
        other.m_cursor = nullptr;
        other.m_storage.clear();
        other.m_jobs.clear();
    }
    return *this;
}

BezierSegmentationWorkspace::~BezierSegmentationWorkspace() = default;

void BezierSegmentationWorkspace::initWorkspace(unsigned long maxJobs, unsigned long numPoints)
{
    // The old contents are never read again, so resizing is enough: a storage
    // that already has the right length is not touched at all.
    const uint64_t blocks = BlockCountFor(maxJobs);
    if (numPoints != 0 && blocks > m_storage.max_size() / numPoints)
        throw std::length_error("Bezier workspace too large");
    m_numPoints = numPoints;
    m_storage.resize(static_cast<std::size_t>(blocks * m_numPoints));
    m_cursor = m_storage.data();
}

Wm4::Vector2<float>* BezierSegmentationWorkspace::createVector()
{
    Wm4::Vector2<float>* block = m_cursor;
    m_cursor += m_numPoints;
    return block;
}

Wm4::Vector2<float>* BezierSegmentationWorkspace::createVector(const Wm4::Vector2<float>* first,
                                                               const Wm4::Vector2<float>* last)
{
    Wm4::Vector2<float>* block = createVector();
    std::copy(first, last, block);
    return block;
}

// ------------------------------------------------------------------ job

SegmentationJob::SegmentationJob(BezierSegmentationWorkspace& workspace, iterator controlPoints, float parameter,
                                 float step) noexcept
    : m_controlPoints(controlPoints), m_left(nullptr), m_right(nullptr), m_parameter(parameter), m_step(step),
      m_error(0.0f)
{
    computeError(workspace);
}

void SegmentationJob::computeError(BezierSegmentationWorkspace& workspace) noexcept
{
    const std::size_t n = workspace.getNumPoints();
    if (n == 0) {
        m_error = -1.0f;
        m_left = workspace.createVector();
        m_right = workspace.createVector();
        return;
    }
    Vec2* p = &*m_controlPoints;

    // The error is measured on the control polygon before the split below
    // overwrites it. Only cubic blocks are scored; any other block counts as
    // straight, which never asks for a split at a tolerance of -1 or more.
    m_error = -1.0f;
    if (n == 4) {
        const Vec2 p0 = p[0], p1 = p[1], p2 = p[2], p3 = p[3];
        const float polygon = (p1 - p0).Length() + (p2 - p1).Length() + (p3 - p2).Length();
        const float chord = (p3 - p0).Length();
        const Vec2 base = p3 - p0;
        // Negative exactly when P1 and P2 lie strictly on opposite sides of
        // the chord: S-shaped pieces then rank above every one-sided piece.
        const float side = Cross(base, p2 - p0) * Cross(base, p1 - p0);
        if (polygon == 0.0f)
            m_error = side < 0.0f ? 0.0f : -1.0f;
        else
            m_error = side < 0.0f ? 1.0f - chord / polygon : -chord / polygon;
    }

    // De Casteljau at t = 1/2, in place: after level k, p[0] is the k-th
    // control point of the left half and p[n-1-k] that of the right half.
    m_left = workspace.createVector();
    m_right = workspace.createVector();
    if (n == 4) {
        // The same steps for a cubic, unrolled and kept in registers.
        Vec2 a = p[0], b = p[1], c = p[2];
        const Vec2 d = p[3];
        m_left[0] = a;
        m_right[3] = d;
        a = (a + b) * 0.5f;
        b = (b + c) * 0.5f;
        c = (c + d) * 0.5f;
        m_left[1] = a;
        m_right[2] = c;
        a = (a + b) * 0.5f;
        b = (b + c) * 0.5f;
        m_left[2] = a;
        m_right[1] = b;
        a = (a + b) * 0.5f;
        m_left[3] = a;
        m_right[0] = a;
        p[0] = a;
        p[1] = b;
        p[2] = c;
        return;
    }
    m_left[0] = p[0];
    m_right[n - 1] = p[n - 1];
    for (std::size_t k = 1; k < n; ++k) {
        for (std::size_t i = 0; i + k < n; ++i) p[i] = (p[i] + p[i + 1]) * 0.5f;
        m_left[k] = p[0];
        m_right[n - 1 - k] = p[n - 1 - k];
    }
}

// ------------------------------------------------------------------ flattening

void DeCasteljauGetBezierPoints(BezierSegmentationWorkspace& ws, const Wm4::BezierCurve2<float>& curve,
                                std::vector<SegmentationJob>& jobs, unsigned int maxJobs, float tolerance)
{
    jobs.clear();
    const Vec2* control = curve.GetControlPoints();
    if (curve.GetDegree() != 3 || control == nullptr) return;

    const unsigned long numPoints = static_cast<unsigned long>(curve.GetDegree()) + 1;
    ws.initWorkspace(maxJobs, numPoints);
    jobs.reserve(maxJobs);

    Vec2* rootBlock = ws.createVector(control, control + numPoints);
    jobs.push_back(SegmentationJob(ws, ws.toIterator(rootBlock), 0.5f, 0.25f));

    uint32_t heap[kMaxHeapJobs];
    std::size_t heapSize = 0;
    bool useHeap = maxJobs <= kMaxHeapJobs && !std::isnan(jobs[0].getError());
    if (useHeap) heap[heapSize++] = 0;
    // The jobs in parameter order as a linked list: a split job keeps its
    // slot for the left half, whose successor is the new right half. Job 0
    // always stays first.
    const bool linked = maxJobs <= kMaxHeapJobs;
    constexpr uint32_t kNoJob = ~uint32_t(0);
    uint32_t next[kMaxHeapJobs];
    if (linked) next[0] = kNoJob;
    while (jobs.size() < maxJobs) {
        std::size_t worst = 0;
        if (useHeap) {
            worst = heap[0];
        } else {
            for (std::size_t i = 1; i < jobs.size(); ++i)
                if (jobs[i].getError() > jobs[worst].getError()) worst = i;
        }
        if (tolerance >= jobs[worst].getError()) break;

        // The split job is copied first: its slot is overwritten by its left
        // half, and the right half is built from the copy.
        const SegmentationJob split = jobs[worst];
        const float childStep = 0.5f * split.getStep();
        jobs[worst] = SegmentationJob(ws, ws.toIterator(split.getLeft()), split.getParameter() - split.getStep(),
                                      childStep);
        jobs.push_back(
            SegmentationJob(ws, ws.toIterator(split.getRight()), split.getParameter() + split.getStep(), childStep));
        if (linked) {
            const uint32_t added = static_cast<uint32_t>(jobs.size() - 1);
            next[added] = next[worst];
            next[worst] = added;
        }
        if (useHeap) {
            if (std::isnan(jobs[worst].getError()) || std::isnan(jobs.back().getError())) {
                useHeap = false; // the scan decides from here on
            } else {
                // The root's job changed in place; the new job joins at the end.
                SiftDown(jobs, heap, heapSize, 0);
                heap[heapSize] = static_cast<uint32_t>(jobs.size() - 1);
                SiftUp(jobs, heap, heapSize++);
            }
        }
    }

    // Put the jobs in list order when that order has strictly increasing
    // parameters: it is then the one order a sort by parameter gives. Deep
    // splits whose parameters no longer differ in single precision are left
    // to the sort.
    if (linked) {
        uint32_t order[kMaxHeapJobs];
        std::size_t count = 0;
        for (uint32_t i = 0; i != kNoJob && count < jobs.size(); i = next[i]) order[count++] = i;
        bool increasing = count == jobs.size();
        for (std::size_t k = 1; increasing && k < count; ++k)
            increasing = jobs[order[k - 1]].getParameter() < jobs[order[k]].getParameter();
        if (increasing) {
            // Apply the permutation in place, cycle by cycle: slot k receives job order[k].
            bool placed[kMaxHeapJobs] = {};
            for (std::size_t start = 0; start < count; ++start) {
                if (placed[start] || order[start] == start) continue;
                const SegmentationJob first = jobs[start];
                std::size_t at = start;
                for (;;) {
                    placed[at] = true;
                    const std::size_t from = order[at];
                    if (from == start) {
                        jobs[at] = first;
                        break;
                    }
                    jobs[at] = jobs[from];
                    at = from;
                }
            }
            return;
        }
    }
    std::sort(jobs.begin(), jobs.end(), [](const SegmentationJob& a, const SegmentationJob& b) {
        return a.getParameter() < b.getParameter();
    });
}

void DeCasteljauSegmentBezier(BezierSegmentationWorkspace& ws, const Wm4::BezierCurve2<float>& curve,
                              SegmentedPrimitive& out, bool addStartPoint, unsigned int maxJobs, float tolerance)
{
    if (impl::CheckIndexOverflow(out.points.size(), maxJobs)) return;
    // Only cubics are flattened; the end point below is control point 3.
    const Vec2* control = curve.GetControlPoints();
    if (curve.GetDegree() != 3 || control == nullptr) return;

    const std::size_t firstNew = out.points.size();
    // A chain cannot continue from a point that does not exist.
    const bool joinPrevious = !addStartPoint && firstNew > 0;

    std::vector<SegmentationJob>& jobs = ws.editJobScratch();
    DeCasteljauGetBezierPoints(ws, curve, jobs, maxJobs, tolerance);

    impl::ReserveMore(out.points, jobs.size() + 2);
    if (!joinPrevious) out.points.push_back(control[0]);
    for (const SegmentationJob& job : jobs) out.points.push_back(*job.getResult());
    out.points.push_back(control[3]);

    impl::AppendChainIndices(out.lineIndices, firstNew, out.points.size(), joinPrevious);
}

} // namespace SegmentationUtils
} // namespace svg
} // namespace kx
