// PreflightSplit.cpp - splitting a path whose sub-paths cross into fillable groups.
#include "preflight/PreflightSplit.h"

#include "preflight/PreflightSubpaths.h"

#include <algorithm>

namespace kx {
namespace svg {
namespace preflight {

namespace {

using Vec2 = Wm4::Vector2<float>;

// Outline points flattened over all the fill tests of one path. A path whose
// many large sub-paths all cross each other would otherwise cost a number of
// tests that grows with the square of its sub-paths.
constexpr std::size_t kMaxWork = 1000000;

struct Box {
    float min[2] = {0, 0}, max[2] = {0, 0};
    bool overlaps(const Box& o) const
    {
        return min[0] <= o.max[0] && o.min[0] <= max[0] && min[1] <= o.max[1] && o.min[1] <= max[1];
    }
    void merge(const Box& o)
    {
        for (int k = 0; k < 2; ++k) {
            min[k] = std::min(min[k], o.min[k]);
            max[k] = std::max(max[k], o.max[k]);
        }
    }
};

// Flattens sub-paths and tries their fill exactly as the segmenter does,
// within a budget of flattened points.
class FillTester {
public:
    // False when nothing is drawn.
    bool outline(const std::vector<const Subpath*>& parts, std::vector<Vec2>& points,
                 std::vector<unsigned int>& indices)
    {
        if (!m_flattener.flatten(parts, points, indices)) return false;
        m_work += points.size();
        return true;
    }

    // Whether an outline fills; false also once the budget is spent.
    bool fills(std::vector<Vec2>& points, std::vector<unsigned int>& indices)
    {
        if (exhausted()) return false;
        m_trianglePoints.clear();
        m_triangles.clear();
        return impl::TriangulateOutlineFill(points, indices, m_trianglePoints, m_triangles);
    }

    bool fills(const std::vector<const Subpath*>& parts)
    {
        if (exhausted()) return false;
        std::vector<Vec2> points;
        std::vector<unsigned int> indices;
        return !outline(parts, points, indices) || fills(points, indices);
    }

    bool exhausted() const { return m_work > kMaxWork; }

private:
    OutlineFlattener m_flattener;
    std::vector<Vec2> m_trianglePoints;
    std::vector<unsigned int> m_triangles;
    std::size_t m_work = 0;
};

struct Group {
    std::vector<const Subpath*> members;
    Box box;
};

} // namespace

bool SplitCrossingSubpaths(const Path::Commands& commands, std::vector<std::string>& parts)
{
    parts.clear();
    std::vector<Subpath> subpaths;
    if (!SplitIntoSubpaths(commands, subpaths) || subpaths.size() < 2 || subpaths.size() > kMaxRewriteSubpaths) return false;

    FillTester tester;
    std::vector<const Subpath*> all;
    for (const auto& s : subpaths) all.push_back(&s);
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    if (!tester.outline(all, points, indices) || points.size() > kMaxRewritePoints || tester.fills(points, indices))
        return false;

    std::vector<Group> groups;
    for (const auto& subpath : subpaths) {
        const std::vector<const Subpath*> alone{&subpath};
        if (!tester.outline(alone, points, indices)) continue; // draws nothing
        Box box;
        box.min[0] = box.max[0] = points[0].X();
        box.min[1] = box.max[1] = points[0].Y();
        for (const Vec2& p : points) box.merge(Box{{p.X(), p.Y()}, {p.X(), p.Y()}});
        if (!tester.fills(points, indices)) return false;

        // A group the sub-path overlaps first (it may be a hole there), then
        // any group it stays clear of, else a group of its own.
        Group* home = nullptr;
        for (int pass = 0; pass < 2 && !home; ++pass)
            for (Group& g : groups) {
                if (g.box.overlaps(box) != (pass == 0)) continue;
                g.members.push_back(&subpath);
                if (tester.fills(g.members)) {
                    home = &g;
                    break;
                }
                g.members.pop_back();
            }
        if (home) {
            home->box.merge(box);
        } else {
            groups.push_back(Group{{&subpath}, box});
        }
    }
    if (tester.exhausted()) return false;
    for (const Group& g : groups) parts.push_back(WriteSubpaths(g.members));
    return !parts.empty();
}

} // namespace preflight
} // namespace svg
} // namespace kx
