// PreflightSplit.cpp - splitting a path whose sub-paths cross into fillable groups.
#include "preflight/PreflightSplit.h"

#include "preflight/PreflightPath.h"
#include "segment/SegmentationCommon.h"

#include <kx/svg/Items.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Segmentation.h>

#include <algorithm>
#include <exception>

namespace kx {
namespace svg {
namespace preflight {

namespace {

using Vec2 = Wm4::Vector2<float>;
using Command = Path::Command;
using Type = Path::CommandType;

constexpr std::size_t kMaxSubpaths = 256;
constexpr std::size_t kMaxPoints = 100000;
// Outline points flattened over all the fill tests of one path. A path whose
// many large sub-paths all cross each other would otherwise cost a number of
// tests that grows with the square of its sub-paths.
constexpr std::size_t kMaxWork = 1000000;
// The flattening the segmenter applies to paths, so that the test below sees
// the outline the library will fill.
constexpr unsigned int kMaxJobs = 32;
constexpr float kTolerance = -0.999f;

std::size_t argumentCount(Type type)
{
    switch (type) {
    case Type::MoveToAbs: case Type::MoveToRel: case Type::LineToAbs: case Type::LineToRel: return 2;
    case Type::HLineToAbs: case Type::HLineToRel: case Type::VLineToAbs: case Type::VLineToRel: return 1;
    case Type::CubicBezierAbs: case Type::CubicBezierRel: return 6;
    case Type::SmoothCubicBezierAbs: case Type::SmoothCubicBezierRel: return 4;
    case Type::EllipticalArcAbs: case Type::EllipticalArcRel: return 7;
    case Type::ClosePath: return 0;
    }
    return 0;
}

bool isRelative(Type type) { return type != Type::ClosePath && (static_cast<int>(type) & 1) != 0; }

// Cuts the commands into sub-paths, each opened by an absolute move-to at the
// point where the reader would start it. False on a command short of numbers.
bool splitCommands(const Path::Commands& commands, std::vector<std::vector<Command>>& subpaths)
{
    Vec2 current(0.0f, 0.0f), start(0.0f, 0.0f);
    bool open = false;
    for (const Command& c : commands) {
        const std::vector<float>& a = c.arguments;
        const std::size_t n = argumentCount(c.type);
        if (a.size() < n) return false;
        const bool relative = isRelative(c.type);
        if (c.type == Type::MoveToAbs || c.type == Type::MoveToRel) {
            current = relative ? Vec2(current.X() + a[0], current.Y() + a[1]) : Vec2(a[0], a[1]);
            start = current;
            subpaths.emplace_back();
            subpaths.back().emplace_back(Type::MoveToAbs, std::vector<float>{current.X(), current.Y()});
            open = true;
            continue;
        }
        if (!open) {
            // Drawing right after a close starts again where the closed one began.
            subpaths.emplace_back();
            subpaths.back().emplace_back(Type::MoveToAbs, std::vector<float>{start.X(), start.Y()});
            open = true;
        }
        subpaths.back().push_back(c);
        switch (c.type) {
        case Type::ClosePath:
            current = start;
            open = false;
            break;
        case Type::HLineToAbs: case Type::HLineToRel:
            current.X() = relative ? current.X() + a[0] : a[0];
            break;
        case Type::VLineToAbs: case Type::VLineToRel:
            current.Y() = relative ? current.Y() + a[0] : a[0];
            break;
        default:
            current = relative ? Vec2(current.X() + a[n - 2], current.Y() + a[n - 1]) : Vec2(a[n - 2], a[n - 1]);
            break;
        }
    }
    return true;
}

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
    bool outline(const std::vector<const std::vector<Command>*>& parts, std::vector<Vec2>& points,
                 std::vector<unsigned int>& indices)
    {
        Path path;
        for (const auto* part : parts)
            path.editCommands().insert(path.editCommands().end(), part->begin(), part->end());
        // Without a fill the segmentation only flattens; fills() tries the fill.
        RenderingProperties noFill;
        noFill.fill = "none";
        const auto primitive = SegmentPath(path, kMaxJobs, kTolerance, nullptr, &noFill, &m_workspace, nullptr);
        if (!primitive || primitive->points.empty()) return false;
        m_work += primitive->points.size();
        points = std::move(primitive->points);
        indices = std::move(primitive->lineIndices);
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

    bool fills(const std::vector<const std::vector<Command>*>& parts)
    {
        if (exhausted()) return false;
        std::vector<Vec2> points;
        std::vector<unsigned int> indices;
        return !outline(parts, points, indices) || fills(points, indices);
    }

    bool exhausted() const { return m_work > kMaxWork; }

private:
    SegmentationUtils::BezierSegmentationWorkspace m_workspace;
    std::vector<Vec2> m_trianglePoints;
    std::vector<unsigned int> m_triangles;
    std::size_t m_work = 0;
};

const char kLetters[] = "MmLlAaHhVvCcSsZ";

std::string writeCommands(const std::vector<const std::vector<Command>*>& parts)
{
    std::string text;
    for (const auto* part : parts)
        for (const Command& c : *part) {
            if (!text.empty()) text += ' ';
            text += kLetters[static_cast<int>(c.type)];
            for (std::size_t i = 0; i < argumentCount(c.type); ++i) {
                text += ' ';
                text += FormatFloat(c.arguments[i]);
            }
        }
    return text;
}

struct Group {
    std::vector<const std::vector<Command>*> members;
    Box box;
};

} // namespace

bool SplitCrossingSubpaths(const std::string& d, std::vector<std::string>& parts)
{
    parts.clear();
    Path::Commands commands;
    try {
        if (!ConvertPathStringToCommands(d, commands, nullptr)) return false;
    } catch (const std::exception&) {
        return false;
    }
    std::vector<std::vector<Command>> subpaths;
    if (!splitCommands(commands, subpaths) || subpaths.size() < 2 || subpaths.size() > kMaxSubpaths) return false;

    FillTester tester;
    std::vector<const std::vector<Command>*> all;
    for (const auto& s : subpaths) all.push_back(&s);
    std::vector<Vec2> points;
    std::vector<unsigned int> indices;
    if (!tester.outline(all, points, indices) || points.size() > kMaxPoints || tester.fills(points, indices))
        return false;

    std::vector<Group> groups;
    for (const auto& subpath : subpaths) {
        const std::vector<const std::vector<Command>*> alone{&subpath};
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
    for (const Group& g : groups) parts.push_back(writeCommands(g.members));
    return !parts.empty();
}

} // namespace preflight
} // namespace svg
} // namespace kx
