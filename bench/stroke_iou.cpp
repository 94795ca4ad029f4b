// stroke_iou.cpp - how closely the library's stroke meshes cover what cairo's
// own stroker covers, over a sample of corpus drawings.
//
// Each drawing is rewritten by the preflight pass; for each with a view box, every stroked shape is segmented with
// stroke meshes on; side A fills the mesh triangles, side B strokes the same
// outline with cairo in the item's own coordinates (the transform as cairo's
// matrix, so a non-uniform scale gives cairo's elliptical pen), with the same
// width, cap, join, miter limit 4 and dashes. Pixels are covered when their
// alpha reaches half; the intersection over union of the two pixel sets is
// printed per file below the threshold, with the features that explain it,
// then the mean.
//
// By default cairo strokes the same flattened outline as the mesh (closed
// where the sub-path is); --from-commands has cairo draw paths from their own
// commands instead, so that flattening differences count too.
//
// Usage: kxsvg_stroke_iou [--count 300] [--width 256] [--list-below 0.97] [--from-commands] [corpus-dir]
// With KXSVG_IOU_DUMP=folder, both sides of every listed file are written there as PNG.
#include <kx/svg/PathPrimitives.h>
#include <kx/svg/Preflight.h>
#include <kx/svg/Segmentation.h>

#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>

#include "BenchSupport.h"
#include "read/LoadDocument.h"
#include "segment/StrokeMesh.h"

#include <cairo.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace kx::svg;
using Vec2 = Wm4::Vector2<float>;
using Mat3 = Wm4::Matrix3<float>;

struct Surface {
    cairo_surface_t* surface;
    cairo_t* cr;
    Surface(int w, int h)
        : surface(cairo_image_surface_create(CAIRO_FORMAT_A8, w, h)), cr(cairo_create(surface)) {}
    ~Surface()
    {
        cairo_destroy(cr);
        cairo_surface_destroy(surface);
    }
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;
};

struct Features {
    bool dashes = false, miterClip = false, nonScaling = false, skewed = false, failedFill = false;
    int shapes = 0;
    double thinnest = 1e30; ///< narrowest stroke, in pixels
};

struct Drawing {
    const BoundingBox* frame;
    double scale;
    Surface* mesh;
    Surface* cairo;
    SegmenterVisitor* visitor;
    bool fromCommands;
    Features features;
};

void SetFrame(cairo_t* cr, const Drawing& d)
{
    cairo_identity_matrix(cr);
    cairo_scale(cr, d.scale, d.scale);
    cairo_translate(cr, -d.frame->getMinPoint().X(), -d.frame->getMinPoint().Y());
}

// The shape as cairo draws it in item coordinates: paths from their own
// commands (cairo's curves, arcs in 64 pieces, close-path as cairo's), circles
// as the segmenter's polygon (the outline the mesh strokes), rectangles and lines as given.
void ReferencePath(cairo_t* cr, const ItemInterface& item, const SegmentedPrimitive& p, const cairo_matrix_t& m)
{
    if (item.getType() == ItemType::Line) {
        const Line& line = static_cast<const Line&>(item);
        cairo_move_to(cr, line.getStart().X(), line.getStart().Y());
        cairo_line_to(cr, line.getEnd().X(), line.getEnd().Y());
    } else if (item.getType() == ItemType::Rect) {
        const Rect& rect = static_cast<const Rect&>(item);
        cairo_rectangle(cr, rect.getPosition().X(), rect.getPosition().Y(), rect.getSize().X(), rect.getSize().Y());
    } else if (item.getType() == ItemType::Circle) {
        cairo_matrix_t inverse = m;
        if (cairo_matrix_invert(&inverse) != CAIRO_STATUS_SUCCESS) return;
        for (std::size_t i = 0; i < p.points.size(); ++i) {
            double x = p.points[i].X(), y = p.points[i].Y();
            cairo_matrix_transform_point(&inverse, &x, &y);
            if (i == 0) cairo_move_to(cr, x, y);
            else cairo_line_to(cr, x, y);
        }
        cairo_close_path(cr);
    } else if (item.getType() == ItemType::Path) {
        PathVisitorCommandsToPrimitives visitor(
            static_cast<const Path&>(item).getCommands(), [cr](std::unique_ptr<PathPrimitive>& primitive, bool starts) {
                if (!primitive) return;
                if (primitive->getKind() == PathPrimitive::LineKind) {
                    const PathLine& line = static_cast<const PathLine&>(*primitive);
                    if (starts) cairo_move_to(cr, line.getStart().X(), line.getStart().Y());
                    if (line.closesContour()) {
                        if (!starts) cairo_line_to(cr, line.getEnd().X(), line.getEnd().Y());
                        cairo_close_path(cr);
                    } else {
                        cairo_line_to(cr, line.getEnd().X(), line.getEnd().Y());
                    }
                } else if (primitive->getKind() == PathPrimitive::BezierCubicKind) {
                    const Vec2* c = static_cast<const PathBezierCubic&>(*primitive).getCurve().GetControlPoints();
                    if (starts) cairo_move_to(cr, c[0].X(), c[0].Y());
                    cairo_curve_to(cr, c[1].X(), c[1].Y(), c[2].X(), c[2].Y(), c[3].X(), c[3].Y());
                } else {
                    const PathEllipticalArc& arc = static_cast<const PathEllipticalArc&>(*primitive);
                    if (starts) cairo_move_to(cr, arc.getStart().X(), arc.getStart().Y());
                    if (arc.isStartEqualEnd()) return;
                    const Vec2& r = arc.getRadii();
                    if (r.X() < 0.01f || r.Y() < 0.01f) {
                        cairo_line_to(cr, arc.getEnd().X(), arc.getEnd().Y());
                        return;
                    }
                    const double phi = arc.getRotation() * 3.14159265358979 / 180.0;
                    for (int k = 1; k <= 64; ++k) {
                        const double t = arc.getStartAngle() + arc.getDeltaAngle() * static_cast<float>(k) / 64.0;
                        const double x = r.X() * std::cos(t), y = r.Y() * std::sin(t);
                        cairo_line_to(cr, arc.getCenter().X() + x * std::cos(phi) - y * std::sin(phi),
                                      arc.getCenter().Y() + x * std::sin(phi) + y * std::cos(phi));
                    }
                }
            });
        visitor.visit();
    }
}

// Which sub-paths of a path a close-path ends, in order, counting only those
// that draw a segment (the runs of the flattened outline).
std::vector<bool> ClosedRuns(const Path& path)
{
    std::vector<bool> closed;
    bool draws = false, closes = false;
    const auto finish = [&]() {
        if (draws) closed.push_back(closes);
        draws = closes = false;
    };
    const auto visit = [&](std::unique_ptr<PathPrimitive>& primitive, bool starts) {
        if (!primitive) return;
        if (starts) finish();
        if (primitive->getKind() == PathPrimitive::EllipticalArcKind &&
            static_cast<const PathEllipticalArc&>(*primitive).isStartEqualEnd())
            return;
        draws = true;
        if (primitive->getKind() == PathPrimitive::LineKind &&
            static_cast<const PathLine&>(*primitive).closesContour())
            closes = true;
    };
    PathVisitorCommandsToPrimitives visitor(path.getCommands(), visit);
    visitor.visit();
    finish();
    return closed;
}

// The flattened outline the mesh strokes, mapped back into item coordinates,
// each run closed as its sub-path is.
void OutlinePath(cairo_t* cr, const ItemInterface& item, const SegmentedPrimitive& p, const cairo_matrix_t& m)
{
    cairo_matrix_t inverse = m;
    if (cairo_matrix_invert(&inverse) != CAIRO_STATUS_SUCCESS) return;
    std::vector<bool> closedRuns;
    if (item.getType() == ItemType::Path) closedRuns = ClosedRuns(static_cast<const Path&>(item));
    const bool shapeClosed = item.getType() == ItemType::Rect || item.getType() == ItemType::Circle;
    const auto point = [&](unsigned int index, bool move) {
        double x = p.points[index].X(), y = p.points[index].Y();
        cairo_matrix_transform_point(&inverse, &x, &y);
        if (move) cairo_move_to(cr, x, y);
        else cairo_line_to(cr, x, y);
    };
    std::size_t run = 0;
    for (std::size_t i = 0; i + 1 < p.lineIndices.size(); i += 2) {
        const bool starts = i == 0 || p.lineIndices[i - 1] != p.lineIndices[i];
        if (starts) point(p.lineIndices[i], true);
        const bool ends = i + 2 >= p.lineIndices.size() || p.lineIndices[i + 2] != p.lineIndices[i + 1];
        if (ends && (shapeClosed || (run < closedRuns.size() && closedRuns[run]))) cairo_close_path(cr);
        else point(p.lineIndices[i + 1], false);
        if (ends) ++run;
    }
}

void StrokeShape(Drawing& d, const ItemInterface& item, const Mat3& transform, const RenderingProperties& props)
{
    const std::size_t before = d.visitor->getSegmentedPrimitives().size();
    d.visitor->segmentObject(item, transform, props);
    if (d.visitor->getSegmentedPrimitives().size() == before || !props.hasStroke()) return;
    const SegmentedPrimitive& p = *d.visitor->getSegmentedPrimitives().back();
    ++d.features.shapes;
    if (p.fillFailed) d.features.failedFill = true;

    // Side A: the mesh.
    cairo_t* a = d.mesh->cr;
    SetFrame(a, d);
    cairo_new_path(a);
    for (std::size_t i = 0; i + 2 < p.strokeIndices.size(); i += 3) {
        for (int k = 0; k < 3; ++k) {
            const Vec2& v = p.strokePoints[p.strokeIndices[i + static_cast<std::size_t>(k)]];
            if (k == 0) cairo_move_to(a, v.X(), v.Y());
            else cairo_line_to(a, v.X(), v.Y());
        }
        cairo_close_path(a);
    }
    cairo_set_fill_rule(a, CAIRO_FILL_RULE_WINDING);
    cairo_fill(a);

    // Side B: cairo's stroke in item coordinates, the transform as cairo's matrix.
    const double m00 = transform(0, 0), m01 = transform(0, 1), m02 = transform(0, 2);
    const double m10 = transform(1, 0), m11 = transform(1, 1), m12 = transform(1, 2);
    const double det = m00 * m11 - m01 * m10;
    if (std::fabs(det) < 1e-12) return;
    if (std::fabs(m00 * m01 + m10 * m11) > 1e-6 * (m00 * m00 + m10 * m10) ||
        std::fabs((m00 * m00 + m10 * m10) - (m01 * m01 + m11 * m11)) > 1e-6 * (m00 * m00 + m10 * m10))
        d.features.skewed = true;
    cairo_t* b = d.cairo->cr;
    SetFrame(b, d);
    cairo_matrix_t matrix;
    cairo_matrix_init(&matrix, m00, m10, m01, m11, m02, m12);
    cairo_transform(b, &matrix);
    cairo_new_path(b);
    if (d.fromCommands) ReferencePath(b, item, p, matrix);
    else OutlinePath(b, item, p, matrix);
    const bool nonScaling = props.vectorEffect && (*props.vectorEffect & NonScalingStroke) != 0;
    if (nonScaling) {
        d.features.nonScaling = true;
        SetFrame(b, d);
    }
    const impl::StrokeStyle style = impl::StrokeStyleFromProperties(props, d.visitor->getOptions().strokePercentLength,
                                                                    0.05f);
    cairo_set_line_width(b, style.width);
    const double pixels = style.width * d.scale * (nonScaling ? 1.0 : std::sqrt(std::fabs(det)));
    if (style.width > 0.0f) d.features.thinnest = std::min(d.features.thinnest, pixels);
    cairo_set_line_cap(b, style.cap == LineCap::Round    ? CAIRO_LINE_CAP_ROUND
                          : style.cap == LineCap::Square ? CAIRO_LINE_CAP_SQUARE
                                                         : CAIRO_LINE_CAP_BUTT);
    cairo_set_line_join(b, style.join == LineJoin::Round   ? CAIRO_LINE_JOIN_ROUND
                           : style.join == LineJoin::Bevel ? CAIRO_LINE_JOIN_BEVEL
                                                           : CAIRO_LINE_JOIN_MITER);
    if (style.join == LineJoin::MiterClip || style.join == LineJoin::Arcs) d.features.miterClip = true;
    cairo_set_miter_limit(b, 4.0);
    std::vector<double> dashes(style.dashes.begin(), style.dashes.end());
    if (!dashes.empty()) d.features.dashes = true;
    cairo_set_dash(b, dashes.empty() ? nullptr : dashes.data(), static_cast<int>(dashes.size()), 0.0);
    if (style.width > 0.0f) cairo_stroke(b);
    cairo_new_path(b);
}

void Walk(Drawing& d, const Node& node, const Mat3& transform, const RenderingProperties& props)
{
    for (const auto& child : node.getChildren()) {
        if (!child) continue;
        const Mat3 t = child->getTransform() ? transform * *child->getTransform() : transform;
        RenderingProperties p = child->getRenderingProperties();
        p.cascadeParent(props);
        if (child->getType() == ItemType::Node || child->getType() == ItemType::Document)
            Walk(d, static_cast<const Node&>(*child), t, p);
        else
            StrokeShape(d, *child, t, p);
    }
}

// Intersection over union of the pixels whose alpha reaches half; -1 when neither side covers any.
double Iou(Surface& a, Surface& b, long* covered)
{
    cairo_surface_flush(a.surface);
    cairo_surface_flush(b.surface);
    const unsigned char* pa = cairo_image_surface_get_data(a.surface);
    const unsigned char* pb = cairo_image_surface_get_data(b.surface);
    const int stride = cairo_image_surface_get_stride(a.surface);
    const int w = cairo_image_surface_get_width(a.surface), h = cairo_image_surface_get_height(a.surface);
    long both = 0, either = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const bool ia = pa[y * stride + x] >= 128, ib = pb[y * stride + x] >= 128;
            both += ia && ib;
            either += ia || ib;
        }
    *covered = either;
    return either == 0 ? -1.0 : static_cast<double>(both) / static_cast<double>(either);
}

} // namespace

int main(int argc, char** argv)
{
    std::size_t count = 300;
    int width = 256;
    double listBelow = 0.97;
    bool fromCommands = false;
    std::string dir;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--count" && i + 1 < argc) count = std::strtoul(argv[++i], nullptr, 10);
        else if (arg == "--width" && i + 1 < argc) width = std::atoi(argv[++i]);
        else if (arg == "--list-below" && i + 1 < argc) listBelow = std::strtod(argv[++i], nullptr);
        else if (arg == "--from-commands") fromCommands = true;
        else dir = arg;
    }
    if (dir.empty()) dir = kxbench::corpusDir();
    if (dir.empty()) {
        std::fprintf(stderr, "corpus absent: give its folder or set KXSVG_CORPUS\n");
        return 2;
    }
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(dir))
        if (entry.is_regular_file() && entry.path().extension() == ".svg") files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    std::mt19937 random(1);
    std::shuffle(files.begin(), files.end(), random);

    kxLog::setSink([](int, const std::string&, const std::string&) {});
    double sum = 0.0;
    std::size_t measured = 0, below = 0;
    std::map<std::string, std::pair<double, int>> perSet; // top folder: IoU sum, files
    for (const std::string& file : files) {
        if (measured >= count) break;
        std::string content;
        ItemInterfacePointer<ItemInterface> root;
        if (!kxbench::readFile(file, content)) continue;
        // Drawings from the wild go through the preflight pass first (polylines,
        // currentColor, style attributes, references), as `kxsvg render --preflight` does.
        if (!kxbench::LoadThroughPreflight(content, root)) continue;
        if (root->getType() != ItemType::Document) continue;
        const auto& document = static_cast<const Document&>(*root);
        if (!document.getViewbox() || !(document.getViewbox()->getWidth() > 0.0f) ||
            !(document.getViewbox()->getHeight() > 0.0f))
            continue;
        const BoundingBox& frame = *document.getViewbox();
        const double scale = width / static_cast<double>(frame.getWidth());
        const int height = static_cast<int>(std::ceil(frame.getHeight() * scale));
        if (height < 1 || height > 4096) continue;

        SegmentationOptions options = SegmentationOptions::realSvg();
        options.strokeMeshes = true;
        const double fw = frame.getWidth(), fh = frame.getHeight();
        options.strokePercentLength = static_cast<float>(std::sqrt(0.5 * (fw * fw + fh * fh)));
        const Document empty;
        SegmenterVisitor visitor(empty, options);
        Surface mesh(width, height), cairo(width, height);
        Drawing d{&frame, scale, &mesh, &cairo, &visitor, fromCommands, Features()};
        const Mat3 rootTransform = document.getTransform() ? *document.getTransform() : Mat3::IDENTITY;
        Walk(d, document, rootTransform, document.getRenderingProperties());
        long covered = 0;
        const double iou = Iou(mesh, cairo, &covered);
        if (iou < 0.0) continue; // nothing stroked
        ++measured;
        sum += iou;
        const std::string relative = file.substr(dir.size() + 1);
        auto& set = perSet[relative.substr(0, relative.find('/'))];
        set.first += iou;
        ++set.second;
        if (iou < listBelow) {
            ++below;
            if (const char* dump = std::getenv("KXSVG_IOU_DUMP")) {
                // Both sides as pictures, for a look at what differs.
                const std::string stem = std::string(dump) + "/" + std::to_string(below);
                cairo_surface_write_to_png(mesh.surface, (stem + "-mesh.png").c_str());
                cairo_surface_write_to_png(cairo.surface, (stem + "-cairo.png").c_str());
            }
            std::printf("%.4f %s (%ld px, thinnest stroke %.2f px;%s%s%s%s%s)\n", iou,
                        file.substr(dir.size() + 1).c_str(), covered, d.features.thinnest,
                        d.features.dashes ? " dashes" : "", d.features.miterClip ? " miter-clip" : "",
                        d.features.nonScaling ? " non-scaling" : "", d.features.skewed ? " non-uniform transform" : "",
                        d.features.failedFill ? " failed fill" : "");
        }
    }
    kxLog::setSink(nullptr);
    if (measured == 0) {
        std::printf("no stroked drawing found\n");
        return 1;
    }
    for (const auto& [name, set] : perSet)
        std::printf("  %-20s %4d files, mean IoU %.5f\n", name.c_str(), set.second, set.first / set.second);
    std::printf("files with strokes: %zu, mean IoU %.5f, below %.2f: %zu\n", measured, sum / static_cast<double>(measured), listBelow,
                below);
    return 0;
}
