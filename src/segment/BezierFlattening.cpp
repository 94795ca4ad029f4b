// BezierFlattening.cpp - adaptive De Casteljau flattening of cubic curves.
#include <kx/svg/Segmentation.h>

#include "segment/SegmentationCommon.h"

#include <kx/system/kxLog.h>

#include <algorithm>
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

    while (jobs.size() < maxJobs) {
        std::size_t worst = 0;
        for (std::size_t i = 1; i < jobs.size(); ++i)
            if (jobs[i].getError() > jobs[worst].getError()) worst = i;
        if (tolerance >= jobs[worst].getError()) break;

        // The split job is copied first: its slot is overwritten by its left
        // half, and the right half is built from the copy.
        const SegmentationJob split = jobs[worst];
        const float childStep = 0.5f * split.getStep();
        jobs[worst] = SegmentationJob(ws, ws.toIterator(split.getLeft()), split.getParameter() - split.getStep(),
                                      childStep);
        jobs.push_back(
            SegmentationJob(ws, ws.toIterator(split.getRight()), split.getParameter() + split.getStep(), childStep));
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
