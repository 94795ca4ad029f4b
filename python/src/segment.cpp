// segment.cpp - flattening from Python: primitives whose arrays share memory.
//
// Each primitive owns its C++ outline and triangles; the NumPy arrays it
// hands out point into those vectors and keep the primitive alive through
// their base object, so no point is ever copied or boxed as a Python object.
#include "Bindings.h"

#include <kx/svg/Items.h>
#include <kx/svg/Simple.h>

#include <pybind11/stl.h>

#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace kxsvg_python {

using namespace kx::svg;

namespace {

/// One flattened item with what Python needs to know of its source item.
struct PrimitiveRecord {
    SegmentedPrimitive primitive;
    std::string kind;
    std::optional<std::string> id;
    Wm4::Matrix3<float> worldTransform;
};

static_assert(sizeof(Wm4::Vector2<float>) == 2 * sizeof(float), "points are read as float pairs");

/// An (n, 2) float32 view of `points`, kept alive by `owner`.
py::array PointArray(const std::vector<Wm4::Vector2<float>>& points, const py::object& owner)
{
    const auto count = static_cast<py::ssize_t>(points.size());
    return py::array_t<float>({count, py::ssize_t(2)}, {py::ssize_t(2 * sizeof(float)), py::ssize_t(sizeof(float))},
                              reinterpret_cast<const float*>(points.data()), owner);
}

/// An (n / columns, columns) uint32 view of `indices`, kept alive by `owner`.
py::array IndexArray(const std::vector<unsigned int>& indices, py::ssize_t columns, const py::object& owner)
{
    const auto rows = static_cast<py::ssize_t>(indices.size()) / columns;
    return py::array_t<std::uint32_t>({rows, columns},
                                      {py::ssize_t(columns * sizeof(std::uint32_t)), py::ssize_t(sizeof(std::uint32_t))},
                                      indices.data(), owner);
}

py::tuple ColorTuple(const Wm4::ColorRGBA& c) { return py::make_tuple(c.R(), c[1], c[2], c[3]); }

kx::TriangulationFillRule FillRuleFromText(const std::string& text)
{
    if (text == "evenodd") return kx::TriangulationFillRule::EvenOdd;
    if (text == "nonzero") return kx::TriangulationFillRule::NonZero;
    throw py::value_error("fill_rule must be 'evenodd' or 'nonzero', not '" + text + "'");
}

template <auto Member>
void SetField(SegmentationOptions& options, const py::handle& value)
{
    using Field = std::remove_reference_t<decltype(options.*Member)>;
    options.*Member = value.cast<Field>();
}

/// The keyword options of segment(), one line each.
struct OptionEntry {
    const char* name;
    void (*apply)(SegmentationOptions&, const py::handle&);
};
const OptionEntry kOptions[] = {
    {"fill_rule", [](SegmentationOptions& o, const py::handle& v) { o.fillRule = FillRuleFromText(v.cast<std::string>()); }},
    {"resolve_crossings", SetField<&SegmentationOptions::resolveCrossings>},
    {"stop_at_first_failed_fill", SetField<&SegmentationOptions::stopAtFirstFailedFill>},
    {"cleanup_contours", SetField<&SegmentationOptions::cleanupContours>},
    {"bezier_max_leaves", SetField<&SegmentationOptions::bezierMaxLeaves>},
    {"bezier_tolerance", SetField<&SegmentationOptions::bezierTolerance>},
    {"arc_pieces", SetField<&SegmentationOptions::arcPieces>},
    {"circle_pieces", SetField<&SegmentationOptions::circlePieces>},
    {"stroke_meshes", SetField<&SegmentationOptions::strokeMeshes>},
    {"stroke_tolerance", SetField<&SegmentationOptions::strokeTolerance>},
    {"stroke_non_overlapping", SetField<&SegmentationOptions::strokeNonOverlapping>},
    {"stroke_percent_length", SetField<&SegmentationOptions::strokePercentLength>},
};

SegmentationOptions OptionsFromKeywords(const std::string& preset, const py::kwargs& keywords)
{
    SegmentationOptions options;
    if (preset == "real_svg")
        options = SegmentationOptions::realSvg();
    else if (preset != "default")
        throw py::value_error("preset must be 'real_svg' or 'default', not '" + preset + "'");
    for (const auto& item : keywords) {
        const std::string name = py::str(item.first);
        const OptionEntry* entry = nullptr;
        for (const OptionEntry& candidate : kOptions)
            if (name == candidate.name) entry = &candidate;
        if (!entry) throw py::type_error("segment() got an unknown option '" + name + "'");
        try {
            entry->apply(options, item.second);
        } catch (const py::cast_error&) {
            throw py::type_error("segment() option '" + name + "' cannot take " +
                                 std::string(py::str(py::repr(item.second))));
        }
    }
    return options;
}

const char* const kSegmentDoc = R"(Flattens every line, rectangle, circle and path below `group` (usually a
Document) into one Primitive each, in document order and in the group's
coordinates. The GIL is released while it runs; do not change the tree
from another thread meanwhile.

preset
    'real_svg' (default): even-odd fills with crossing outlines resolved,
    going on past a fill that fails (its primitive has fill_failed set).
    'default': the library's historical output: stops after the first
    failed fill, crossings are not resolved.

options (each overrides the preset)
    fill_rule                  'evenodd' or 'nonzero'
    resolve_crossings          bool: split crossing outline segments before filling
    stop_at_first_failed_fill  bool
    cleanup_contours           bool: merge tiny segments, close nearly closed contours
    bezier_max_leaves          int: at most this many pieces per cubic curve (32)
    bezier_tolerance           float: subdivision stops below this error (-0.999)
    arc_pieces                 int: pieces per elliptical arc (32)
    circle_pieces              int: pieces per circle (32)
    stroke_meshes              bool: also build each visible stroke as triangles
    stroke_tolerance           float: largest gap of round joins and caps to their chords (0.05)
    stroke_non_overlapping     bool: stroke triangles that never overlap
    stroke_percent_length      float: what 100% means in a dash array (0: such dashes drawn solid)

Raises TypeError for an unknown option or a value of the wrong type,
ValueError for an unknown preset or fill rule.)";

} // namespace

void BindSegment(py::module_& m)
{
    py::class_<PrimitiveRecord, std::shared_ptr<PrimitiveRecord>>(m, "Primitive", R"(One flattened item.

Its arrays share memory with the primitive (no copy) and keep it alive:
points (n, 2) float32 outline vertices; line_indices (m, 2) uint32 pairs into
points; triangle_points (k, 2) float32; triangle_indices (t, 3) uint32 triples
into triangle_points; stroke_points (s, 2) float32 and stroke_indices (u, 3)
uint32, the stroke as triangles when segmented with stroke_meshes=True
(empty otherwise). Coordinates are those of the segmented group.)")
        .def_property_readonly("points", [](const py::object& self) {
            return PointArray(self.cast<const PrimitiveRecord&>().primitive.points, self); })
        .def_property_readonly("line_indices", [](const py::object& self) {
            return IndexArray(self.cast<const PrimitiveRecord&>().primitive.lineIndices, 2, self); })
        .def_property_readonly("triangle_points", [](const py::object& self) {
            return PointArray(self.cast<const PrimitiveRecord&>().primitive.trianglePoints, self); })
        .def_property_readonly("triangle_indices", [](const py::object& self) {
            return IndexArray(self.cast<const PrimitiveRecord&>().primitive.triangleIndices, 3, self); })
        .def_property_readonly("stroke_points", [](const py::object& self) {
            return PointArray(self.cast<const PrimitiveRecord&>().primitive.strokePoints, self); })
        .def_property_readonly("stroke_indices", [](const py::object& self) {
            return IndexArray(self.cast<const PrimitiveRecord&>().primitive.strokeIndices, 3, self); })
        .def_property_readonly("fill_failed", [](const PrimitiveRecord& r) { return r.primitive.fillFailed; },
                               "True when the item should be filled but its fill could not be built.")
        .def_property_readonly("fill_area", [](const PrimitiveRecord& r) { return FillArea(r.primitive); },
                               "Area covered by the fill triangles, in squared document units.")
        .def_property_readonly("kind", [](const PrimitiveRecord& r) { return r.kind; }, "Kind of the source item.")
        .def_property_readonly("id", [](const PrimitiveRecord& r) { return r.id; }, "Id of the source item, or None.")
        .def_property_readonly("world_transform", [](const PrimitiveRecord& r) { return MatrixToArray(r.worldTransform); },
                               "The source item's world transform (already applied), 3x3 float32.")
        .def_property_readonly("has_fill", [](const PrimitiveRecord& r) { return r.primitive.properties.hasFill(); })
        .def_property_readonly("has_stroke", [](const PrimitiveRecord& r) { return r.primitive.properties.hasStroke(); })
        .def_property_readonly("fill_color", [](const PrimitiveRecord& r) { return ColorTuple(r.primitive.properties.parseFillColor()); },
                               "(r, g, b, a) in [0, 1], alpha being fill-opacity x opacity.")
        .def_property_readonly("stroke_color", [](const PrimitiveRecord& r) { return ColorTuple(r.primitive.properties.parseStrokeColor()); },
                               "(r, g, b, a) in [0, 1], alpha being stroke-opacity x opacity.")
        .def_property_readonly("opacity", [](const PrimitiveRecord& r) { return r.primitive.properties.opacity; })
        .def_property_readonly("fill_opacity", [](const PrimitiveRecord& r) { return r.primitive.properties.fillOpacity; })
        .def_property_readonly("stroke_opacity", [](const PrimitiveRecord& r) { return r.primitive.properties.strokeOpacity; })
        .def_property_readonly("stroke_width", [](const PrimitiveRecord& r) { return r.primitive.properties.strokeWidth; },
                               "Cascaded 'stroke-width' in user units, or None.")
        .def("__repr__", [](const PrimitiveRecord& r) {
            return "<kxsvg.Primitive " + r.kind + " points=" + std::to_string(r.primitive.points.size()) +
                   " triangles=" + std::to_string(r.primitive.triangleIndices.size() / 3) + ">";
        });

    m.def(
        "segment",
        [](const std::shared_ptr<Node>& group, const std::string& preset, const py::kwargs& keywords) {
            if (!group) throw py::type_error("segment() needs a Group or a Document, not None");
            const SegmentationOptions options = OptionsFromKeywords(preset, keywords);
            std::vector<std::shared_ptr<PrimitiveRecord>> records;
            {
                py::gil_scoped_release release;
                SegmentResult result = Segment(*group, options);
                records.reserve(result.items.size());
                for (SegmentedItem& item : result.items) {
                    auto record = std::make_shared<PrimitiveRecord>();
                    record->primitive = std::move(item.primitive);
                    record->worldTransform = item.worldTransform;
                    if (item.item) {
                        record->kind = KindName(item.item->getType());
                        record->id = item.item->getId();
                    }
                    records.push_back(std::move(record));
                }
            }
            return records;
        },
        py::arg("group"), py::arg("preset") = "real_svg", kSegmentDoc);
}

} // namespace kxsvg_python
