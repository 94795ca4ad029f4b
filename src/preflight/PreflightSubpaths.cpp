// PreflightSubpaths.cpp - the sub-paths of parsed path data, their outlines and their text.
#include "preflight/PreflightSubpaths.h"

#include "preflight/PreflightPath.h"

#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Segmentation.h>

namespace kx {
namespace svg {
namespace preflight {

namespace {

using Vec2 = Wm4::Vector2<float>;
using Command = Path::Command;
using Type = Path::CommandType;

// The flattening the segmenter applies to paths.
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

const char kLetters[] = "MmLlAaHhVvCcSsZ";

} // namespace

bool SplitIntoSubpaths(const Path::Commands& commands, std::vector<Subpath>& subpaths)
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

std::string WriteSubpaths(const std::vector<const Subpath*>& parts)
{
    std::string text;
    for (const Subpath* part : parts)
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

bool OutlineFlattener::flatten(const Path& path, std::vector<Vec2>& points, std::vector<unsigned int>& indices)
{
    // Without a fill the segmentation only flattens.
    RenderingProperties noFill;
    noFill.fill = "none";
    const auto primitive = SegmentPath(path, kMaxJobs, kTolerance, nullptr, &noFill, &m_workspace, nullptr);
    if (!primitive || primitive->points.empty()) return false;
    points = std::move(primitive->points);
    indices = std::move(primitive->lineIndices);
    return true;
}

bool OutlineFlattener::flatten(const std::vector<const Subpath*>& parts, std::vector<Vec2>& points,
                               std::vector<unsigned int>& indices)
{
    Path path;
    for (const Subpath* part : parts) path.editCommands().insert(path.editCommands().end(), part->begin(), part->end());
    return flatten(path, points, indices);
}

} // namespace preflight
} // namespace svg
} // namespace kx
