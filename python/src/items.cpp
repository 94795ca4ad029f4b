// items.cpp - the item tree as Python classes sharing the C++ items.
//
// Every Python item holds a shared handle to the C++ item itself, so a
// loaded tree is never copied: walking `children` hands out the same items
// the document owns, and editing them edits the document.
#include "Bindings.h"

#include <kx/svg/Items.h>
#include <kx/svg/Simple.h>

#include <pybind11/stl.h>

#include <cstring>
#include <optional>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kxsvg_python {

using namespace kx::svg;

namespace {

const char* const kCommandLetters = "MmLlAaHhVvCcSsZ";
// Numbers each command takes, in the order of `Path::CommandType`.
const unsigned kCommandArity[] = {2, 2, 2, 2, 7, 7, 1, 1, 1, 1, 6, 6, 4, 4, 0};

} // namespace

const char* KindName(ItemType type)
{
    switch (type) {
    case ItemType::Document: return "svg";
    case ItemType::Node: return "g";
    case ItemType::Line: return "line";
    case ItemType::Rect: return "rect";
    case ItemType::Circle: return "circle";
    case ItemType::Path: return "path";
    case ItemType::Text: return "text";
    case ItemType::Image: return "image";
    }
    return "unknown";
}

namespace {

using Vec2 = Wm4::Vector2<float>;

std::pair<float, float> FromVec2(const Vec2& v) { return {v.X(), v.Y()}; }
Vec2 ToVec2(const std::pair<float, float>& p) { return Vec2(p.first, p.second); }

const char* const kLinecaps[] = {"butt", "round", "square"};
const char* const kLinejoins[] = {"arcs", "bevel", "miter", "miter-clip", "round"};

template <std::size_t N>
std::optional<std::string> KeywordName(const char* const (&names)[N], const std::optional<uint8_t>& value)
{
    if (!value || *value >= N) return std::nullopt;
    return std::string(names[*value]);
}

template <std::size_t N>
std::optional<uint8_t> KeywordValue(const char* const (&names)[N], const std::optional<std::string>& text,
                                    const char* attribute)
{
    if (!text) return std::nullopt;
    for (std::size_t i = 0; i < N; ++i)
        if (*text == names[i]) return static_cast<uint8_t>(i);
    throw py::value_error(std::string("'") + *text + "' is not a value of " + attribute);
}

py::list CommandsToList(const Path::Commands& commands)
{
    py::list list;
    for (const Path::Command& command : commands) {
        const char letter[2] = {kCommandLetters[static_cast<int>(command.type)], 0};
        list.append(py::make_tuple(py::str(letter), py::tuple(py::cast(command.arguments))));
    }
    return list;
}

Path::Commands ListToCommands(const py::iterable& list)
{
    Path::Commands commands;
    for (const py::handle& entry : list) {
        auto pair = entry.cast<std::pair<std::string, std::vector<float>>>();
        const char* found = pair.first.size() == 1 ? std::strchr(kCommandLetters, pair.first[0]) : nullptr;
        if (!found || pair.first[0] == 0)
            throw py::value_error("'" + pair.first + "' is not a path command letter (one of MmLlAaHhVvCcSsZ)");
        const int index = static_cast<int>(found - kCommandLetters);
        if (pair.second.size() != kCommandArity[index])
            throw py::value_error("Path command '" + pair.first + "' takes " + std::to_string(kCommandArity[index]) +
                                  " numbers, not " + std::to_string(pair.second.size()));
        commands.emplace_back(static_cast<Path::CommandType>(index), std::move(pair.second));
    }
    return commands;
}

// A property of the item's presentation attributes, by member.
template <class T>
void DefAttribute(py::class_<ItemInterface, std::shared_ptr<ItemInterface>>& cls, const char* name,
                  std::optional<T> RenderingProperties::*member, const char* doc)
{
    cls.def_property(
        name, [member](const ItemInterface& item) { return item.getRenderingProperties().*member; },
        [member](ItemInterface& item, std::optional<T> value) { item.editRenderingProperties().*member = value; },
        doc);
}

py::dict AttributeDict(const RenderingProperties& p)
{
    py::dict d;
    if (p.fill) d["fill"] = *p.fill;
    if (p.fillOpacity) d["fill-opacity"] = *p.fillOpacity;
    if (p.stroke) d["stroke"] = *p.stroke;
    if (p.strokeWidth) d["stroke-width"] = *p.strokeWidth;
    if (p.strokeOpacity) d["stroke-opacity"] = *p.strokeOpacity;
    if (auto cap = KeywordName(kLinecaps, p.strokeLinecap ? std::optional<uint8_t>(static_cast<uint8_t>(*p.strokeLinecap)) : std::nullopt))
        d["stroke-linecap"] = *cap;
    if (auto join = KeywordName(kLinejoins, p.strokeLinejoin ? std::optional<uint8_t>(static_cast<uint8_t>(*p.strokeLinejoin)) : std::nullopt))
        d["stroke-linejoin"] = *join;
    if (p.opacity) d["opacity"] = *p.opacity;
    if (p.className) d["class"] = *p.className;
    return d;
}

// Refuses what would not make a tree: no item, a document, or a group that
// holds `parent` already (the tree would contain itself). The walk is
// iterative and visits each group of the child's subtree once.
void CheckChild(const Node& parent, const std::shared_ptr<ItemInterface>& child)
{
    if (!child) throw py::type_error("a child must be an item, not None");
    if (child->getType() == ItemType::Document) throw py::value_error("a Document cannot be a child");
    std::vector<const Node*> pending;
    std::unordered_set<const Node*> seen;
    if (auto* group = dynamic_cast<const Node*>(child.get())) pending.push_back(group);
    while (!pending.empty()) {
        const Node* group = pending.back();
        pending.pop_back();
        if (group == &parent) throw py::value_error("a group cannot contain itself");
        if (!seen.insert(group).second) continue;
        for (const auto& item : group->getChildren())
            if (auto* inner = dynamic_cast<const Node*>(item.get())) pending.push_back(inner);
    }
}

} // namespace

void BindItems(py::module_& m)
{
    py::class_<ItemInterface, std::shared_ptr<ItemInterface>> item(m, "Item", R"(An element of the drawing.

Items are shared, not copied: the item you get from ``Group.children`` is the
one the document holds, and changing it changes the document.)");
    item.def_property_readonly("kind", [](const ItemInterface& i) { return KindName(i.getType()); },
                               "Element name: 'svg', 'g', 'line', 'rect', 'circle', 'path', 'text' or 'image'.")
        .def_property(
            "id", [](const ItemInterface& i) { return i.getId(); },
            [](ItemInterface& i, std::optional<std::string> id) { i.editId() = std::move(id); },
            "The 'id' attribute, or None.")
        .def_property(
            "transform",
            [](const ItemInterface& i) -> py::object {
                if (!i.getTransform()) return py::none();
                return MatrixToArray(*i.getTransform());
            },
            [](ItemInterface& i, const py::object& value) {
                if (value.is_none())
                    i.editTransform().reset();
                else
                    i.editTransform() = ArrayToMatrix(value);
            },
            "The item's own transform as a 3x3 float32 array (a copy; assign to change it), or None\n"
            "for the identity. Points are columns: x' = t[0,0] x + t[0,1] y + t[0,2].")
        .def_property_readonly(
            "attributes", [](const ItemInterface& i) { return AttributeDict(i.getRenderingProperties()); },
            "The presentation attributes set on this item, as a dict of SVG attribute names.");
    DefAttribute<std::string>(item, "fill", &RenderingProperties::fill, "The 'fill' colour text, or None.");
    DefAttribute<std::string>(item, "stroke", &RenderingProperties::stroke, "The 'stroke' colour text, or None.");
    DefAttribute<std::string>(item, "class_name", &RenderingProperties::className, "The 'class' attribute, or None.");
    DefAttribute<float>(item, "opacity", &RenderingProperties::opacity, "'opacity', or None.");
    DefAttribute<float>(item, "fill_opacity", &RenderingProperties::fillOpacity, "'fill-opacity', or None.");
    DefAttribute<float>(item, "stroke_opacity", &RenderingProperties::strokeOpacity, "'stroke-opacity', or None.");
    DefAttribute<float>(item, "stroke_width", &RenderingProperties::strokeWidth, "'stroke-width' in user units, or None.");
    item.def_property(
            "stroke_linecap",
            [](const ItemInterface& i) {
                const auto& cap = i.getRenderingProperties().strokeLinecap;
                return KeywordName(kLinecaps, cap ? std::optional<uint8_t>(static_cast<uint8_t>(*cap)) : std::nullopt);
            },
            [](ItemInterface& i, std::optional<std::string> text) {
                auto value = KeywordValue(kLinecaps, text, "stroke-linecap");
                auto& cap = i.editRenderingProperties().strokeLinecap;
                if (value) cap = static_cast<LineCap>(*value); else cap.reset();
            },
            "'stroke-linecap': 'butt', 'round', 'square' or None.")
        .def_property(
            "stroke_linejoin",
            [](const ItemInterface& i) {
                const auto& join = i.getRenderingProperties().strokeLinejoin;
                return KeywordName(kLinejoins, join ? std::optional<uint8_t>(static_cast<uint8_t>(*join)) : std::nullopt);
            },
            [](ItemInterface& i, std::optional<std::string> text) {
                auto value = KeywordValue(kLinejoins, text, "stroke-linejoin");
                auto& join = i.editRenderingProperties().strokeLinejoin;
                if (value) join = static_cast<LineJoin>(*value); else join.reset();
            },
            "'stroke-linejoin': 'arcs', 'bevel', 'miter', 'miter-clip', 'round' or None.")
        .def("__repr__", [](const ItemInterface& i) {
            std::string text = std::string("<kxsvg.Item ") + KindName(i.getType());
            if (i.getId()) text += " id='" + *i.getId() + "'";
            return text + ">";
        });

    py::class_<Node, ItemInterface, std::shared_ptr<Node>>(m, "Group", "A group ('g') owning an ordered list of children.")
        .def(py::init<>())
        .def_property_readonly(
            "children",
            [](const Node& n) {
                py::list list;
                for (const auto& child : n.getChildren()) list.append(py::cast(child));
                return list;
            },
            "The children in document order, as a new list of the shared items.")
        .def("__len__", [](const Node& n) { return n.getChildren().size(); })
        .def(
            "append",
            [](Node& n, const std::shared_ptr<ItemInterface>& child) {
                CheckChild(n, child);
                n.addChild(child, true);
            },
            py::arg("item"), "Adds `item` (shared, not copied) as the last child.")
        .def(
            "insert",
            [](Node& n, std::ptrdiff_t index, const std::shared_ptr<ItemInterface>& child) {
                CheckChild(n, child);
                auto& children = n.editChildren();
                const auto size = static_cast<std::ptrdiff_t>(children.size());
                if (index < 0) index += size;
                index = index < 0 ? 0 : (index > size ? size : index);
                children.insert(std::next(children.begin(), index), child);
            },
            py::arg("index"), py::arg("item"), "Inserts `item` before position `index`, as list.insert does.")
        .def(
            "remove",
            [](Node& n, const std::shared_ptr<ItemInterface>& child) {
                auto& children = n.editChildren();
                for (auto it = children.begin(); it != children.end(); ++it)
                    if (*it == child) {
                        children.erase(it);
                        return;
                    }
                throw py::value_error("item is not a child of this group");
            },
            py::arg("item"), "Removes the child `item`; ValueError when it is not a child.");

    py::class_<Document, Node, std::shared_ptr<Document>> document(m, "Document", py::dynamic_attr(),
                                                          R"(The root element ('svg') of a drawing.

``messages`` holds the warnings of the load that made it, and
``preflight_report`` the changes of its preflight (None without one).)");
    // Defaults for documents not made by load(); load() sets its own on the instance.
    document.attr("messages") = py::tuple();
    document.attr("preflight_report") = py::none();
    document.def(py::init<>())
        .def_property(
            "view_box",
            [](const Document& d) -> py::object {
                if (!d.getViewbox()) return py::none();
                const BoundingBox& box = *d.getViewbox();
                return py::make_tuple(box.getMinPoint().X(), box.getMinPoint().Y(), box.getMaxPoint().X(),
                                      box.getMaxPoint().Y());
            },
            [](Document& d, std::optional<std::tuple<float, float, float, float>> box) {
                if (!box)
                    d.editViewbox().reset();
                else
                    d.editViewbox() = BoundingBox(Vec2(std::get<0>(*box), std::get<1>(*box)),
                                                  Vec2(std::get<2>(*box), std::get<3>(*box)));
            },
            "The view box as (min_x, min_y, max_x, max_y), or None.")
        .def_property(
            "style", [](const Document& d) { return d.getStyle(); },
            [](Document& d, std::optional<std::string> style) { d.editStyle() = std::move(style); },
            "The text of the document's style sheet, or None.")
        .def("copy", [](const Document& d) { return std::make_shared<Document>(d); },
             "A deep copy of the whole drawing.");

    py::class_<Line, ItemInterface, std::shared_ptr<Line>>(m, "Line", "A straight line ('line').")
        .def(py::init([](float x1, float y1, float x2, float y2) { return std::make_shared<Line>(Vec2(x1, y1), Vec2(x2, y2)); }),
             py::arg("x1"), py::arg("y1"), py::arg("x2"), py::arg("y2"))
        .def_property("start", [](const Line& l) { return FromVec2(l.getStart()); },
                      [](Line& l, std::pair<float, float> p) { l.editStart() = ToVec2(p); }, "(x1, y1).")
        .def_property("end", [](const Line& l) { return FromVec2(l.getEnd()); },
                      [](Line& l, std::pair<float, float> p) { l.editEnd() = ToVec2(p); }, "(x2, y2).");

    py::class_<Rect, ItemInterface, std::shared_ptr<Rect>>(m, "Rect", "A rectangle ('rect'); rx and ry 0 mean not given.")
        .def(py::init([](float x, float y, float width, float height, float rx, float ry) {
                 auto rect = std::make_shared<Rect>(Vec2(x, y), Vec2(width, height));
                 rect->editRx() = rx;
                 rect->editRy() = ry;
                 return rect;
             }),
             py::arg("x"), py::arg("y"), py::arg("width"), py::arg("height"), py::arg("rx") = 0.0f, py::arg("ry") = 0.0f)
        .def_property("position", [](const Rect& r) { return FromVec2(r.getPosition()); },
                      [](Rect& r, std::pair<float, float> p) { r.editPosition() = ToVec2(p); }, "Top-left corner (x, y).")
        .def_property("size", [](const Rect& r) { return FromVec2(r.getSize()); },
                      [](Rect& r, std::pair<float, float> p) { r.editSize() = ToVec2(p); }, "(width, height).")
        .def_property("rx", &Rect::getRx, [](Rect& r, float v) { r.editRx() = v; })
        .def_property("ry", &Rect::getRy, [](Rect& r, float v) { r.editRy() = v; });

    py::class_<Circle, ItemInterface, std::shared_ptr<Circle>>(m, "Circle", "A circle ('circle').")
        .def(py::init([](float cx, float cy, float r) { return std::make_shared<Circle>(Vec2(cx, cy), r); }),
             py::arg("cx"), py::arg("cy"), py::arg("r"))
        .def_property("center", [](const Circle& c) { return FromVec2(c.getCenter()); },
                      [](Circle& c, std::pair<float, float> p) { c.editCenter() = ToVec2(p); }, "(cx, cy).")
        .def_property("radius", &Circle::getRadius, [](Circle& c, float v) { c.editRadius() = v; });

    py::class_<Path, ItemInterface, std::shared_ptr<Path>>(m, "Path", R"(A path ('path').

Its commands are (letter, numbers) pairs, letters from 'MmLlAaHhVvCcSsZ'
(no quadratic curves), arc flags as 0.0 or 1.0.)")
        .def(py::init([](const std::optional<std::string>& d) {
                 auto path = std::make_shared<Path>();
                 if (d) {
                     PathDataResult parsed = ParsePathData(*d);
                     if (!parsed)
                         throw py::value_error(parsed.errorMessage + " (at byte " +
                                               std::to_string(parsed.errorPosition) + ")");
                     path->editCommands() = std::move(parsed.commands);
                 }
                 return path;
             }),
             py::arg("d") = py::none(), "A path, empty or read from path data `d` (ValueError when malformed).")
        .def_property("commands", [](const Path& p) { return CommandsToList(p.getCommands()); },
                      [](Path& p, const py::iterable& list) { p.editCommands() = ListToCommands(list); },
                      "The commands as a new list of (letter, numbers) tuples; assign a list to replace them.")
        .def_property_readonly("d", [](const Path& p) { return PathDataText(p.getCommands()); },
                               "The path data text as the writer writes it.");

    py::class_<Text, ItemInterface, std::shared_ptr<Text>>(m, "Text", "A text ('text') with its raw UTF-8 content.")
        .def(py::init([](float x, float y, const std::string& content) { return std::make_shared<Text>(Vec2(x, y), content); }),
             py::arg("x"), py::arg("y"), py::arg("content"))
        .def_property("position", [](const Text& t) { return FromVec2(t.getPosition()); },
                      [](Text& t, std::pair<float, float> p) { t.editPosition() = ToVec2(p); }, "(x, y).")
        .def_property("content", &Text::getContent, [](Text& t, std::string s) { t.editContent() = std::move(s); })
        .def_property("font_family", [](const Text& t) { return t.getFontFamily(); },
                      [](Text& t, std::optional<std::string> s) { t.editFontFamily() = std::move(s); })
        .def_property("font_size", [](const Text& t) { return t.getFontSize(); },
                      [](Text& t, std::optional<float> s) { t.editFontSize() = s; });

    py::class_<Image, ItemInterface, std::shared_ptr<Image>>(m, "Image", "An image reference ('image').")
        .def(py::init([]() { return std::make_shared<Image>(); }))
        .def_property("position", [](const Image& i) { return FromVec2(i.getPosition()); },
                      [](Image& i, std::pair<float, float> p) { i.editPosition() = ToVec2(p); }, "(x, y).")
        .def_property("size", [](const Image& i) { return FromVec2(i.getSize()); },
                      [](Image& i, std::pair<float, float> p) { i.editSize() = ToVec2(p); }, "(width, height).")
        .def_property("href", &Image::getHref, [](Image& i, std::string s) { i.editHref() = std::move(s); });
}

} // namespace kxsvg_python
