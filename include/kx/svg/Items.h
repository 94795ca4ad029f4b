// Items.h - the item tree: the in-memory form of one SVG drawing.
#ifndef KX_SVG_ITEMS_H
#define KX_SVG_ITEMS_H

#include <kx/svg/BoundingBox.h>
#include <kx/svg/Export.h>
#include <kx/svg/Options.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Units.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

namespace kx {
namespace xml {
class XmlSaveContext;
}
namespace svg {

/// Kind of an item; the values are fixed. Any value above 7 is unknown.
enum class ItemType : uint8_t {
    Document = 0, ///< "svg"
    Node = 1,     ///< "g"
    Line = 2,     ///< "line"
    Rect = 3,     ///< "rect"
    Circle = 4,   ///< "circle"
    Path = 5,     ///< "path"
    Text = 6,     ///< "text"
    Image = 7     ///< "image"
};

/// Shared-ownership handle to an item; exactly `std::shared_ptr`.
template <class T>
using ItemInterfacePointer = std::shared_ptr<T>;

class Document;

/// Abstract base of every item: an optional transform, an optional id and
/// the presentation attributes.
///
/// Each item class declares its own XML writer methods (`beginWriteAsXml...`)
/// and its estimated box (`computeEstimatedBoundingVolume`), so that the
/// writer and the bounds reach every kind of item through one virtual call
/// rather than a switch over `ItemType`. Those methods are defined beside the
/// code they belong to, not with the fields: the writers in
/// src/write/ItemWriters.cpp, the boxes in src/bounds/ItemBounds.cpp.
class KXSVG_API ItemInterface {
public:
    virtual ~ItemInterface();

    /// The item's own transform, absent meaning identity. Applied to a point
    /// (x, y) as (m(0,0) x + m(0,1) y + m(0,2), m(1,0) x + m(1,1) y + m(1,2)).
    const std::optional<Wm4::Matrix3<float>>& getTransform() const { return m_transform; }
    std::optional<Wm4::Matrix3<float>>& editTransform() { return m_transform; }
    /// The "id" attribute.
    const std::optional<std::string>& getId() const { return m_id; }
    std::optional<std::string>& editId() { return m_id; }
    const RenderingProperties& getRenderingProperties() const { return m_renderingProperties; }
    RenderingProperties& editRenderingProperties() { return m_renderingProperties; }
    ItemType getType() const { return m_type; }

    /// Writes the start of this item's element: geometry, "id", presentation
    /// attributes, "transform", then class-specific content (the style sheet).
    bool beginWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const;
    /// Closes the element (a `Text` writes its content first).
    virtual bool endWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const;
    /// Writes this item's estimated box under `transform` into `box`; false for
    /// items without an extent of their own (groups and texts).
    virtual bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const = 0;

protected:
    explicit ItemInterface(ItemType type);
    ItemInterface(const ItemInterface& other) = default;
    ItemInterface& operator=(const ItemInterface& other) = default;

    /// Opens the element and writes the item's own geometry attributes.
    virtual bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const = 0;
    /// Writes content after the common attributes; nothing by default.
    virtual bool beginWriteAsXmlImplPost(kx::xml::XmlSaveContext& context, const SaveOptions& options) const;

private:
    std::optional<Wm4::Matrix3<float>> m_transform;
    std::optional<std::string> m_id;
    RenderingProperties m_renderingProperties;
    ItemType m_type;
};

/// A group ("g"): owns an ordered list of children. Copying a group copies its
/// whole subtree; children that are empty, documents or of an unknown kind are
/// dropped by the copy.
class KXSVG_API Node : public ItemInterface {
public:
    using Children = std::list<std::shared_ptr<ItemInterface>>;

    Node();
    Node(const Node& other);
    Node& operator=(const Node& other);
    ~Node() override;

    const Children& getChildren() const { return m_children; }
    Children& editChildren() { return m_children; }

    /// Shares ownership of `child` (no copy), at the end when `append` is true,
    /// at the front otherwise. An empty handle is ignored. A `Document` can
    /// never be a child: that is rejected at compile time.
    template <class T>
    void addChild(const ItemInterfacePointer<T>& child, bool append)
    {
        static_assert(std::is_base_of<ItemInterface, T>::value, "children are items");
        static_assert(!std::is_base_of<Document, T>::value, "a Document is never a child");
        if (!child) return;
        if (append)
            m_children.push_back(child);
        else
            m_children.push_front(child);
    }

    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    explicit Node(ItemType type);
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;
    /// Starts an element called `name`; logs "Node failed begin" on failure.
    bool beginWriteAsXmlNodeWithName(kx::xml::XmlSaveContext& context, const char* name) const;

private:
    /// Appends deep copies of `source`'s children (iteratively, any depth).
    void copyChildrenFrom(const Node& source);

    Children m_children;
};

/// The root element ("svg"): a group with an optional view box and style sheet.
class KXSVG_API Document : public Node {
public:
    Document();
    Document(const Document& other);
    Document& operator=(const Document& other);
    ~Document() override;

    /// The view box as minimum and maximum corners.
    const std::optional<BoundingBox>& getViewbox() const { return m_viewBox; }
    std::optional<BoundingBox>& editViewbox() { return m_viewBox; }
    /// The text of the document's style sheet.
    const std::optional<std::string>& getStyle() const { return m_style; }
    std::optional<std::string>& editStyle() { return m_style; }

    /// Sets the view box to the estimated box of the whole content; the view box
    /// is then present even when that box is empty (1, 1, -1, -1).
    void computeEstimatedViewboxFromContent();

    bool endWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;
    /// Writes the style sheet element.
    bool beginWriteAsXmlImplPost(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    std::optional<BoundingBox> m_viewBox;
    std::optional<std::string> m_style;
};

/// A straight line ("line") from start (x1, y1) to end (x2, y2).
class KXSVG_API Line : public ItemInterface {
public:
    Line(const Wm4::Vector2<float>& start, const Wm4::Vector2<float>& end);
    Line(const Line& other) = default;
    Line& operator=(const Line& other) = default;
    ~Line() override;

    const Wm4::Vector2<float>& getStart() const { return m_start; }
    Wm4::Vector2<float>& editStart() { return m_start; }
    const Wm4::Vector2<float>& getEnd() const { return m_end; }
    Wm4::Vector2<float>& editEnd() { return m_end; }

    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    Wm4::Vector2<float> m_start;
    Wm4::Vector2<float> m_end;
};

/// A rectangle ("rect") with optional corner radii (0 means not given).
class KXSVG_API Rect : public ItemInterface {
public:
    Rect(const Wm4::Vector2<float>& position, const Wm4::Vector2<float>& size);
    Rect(const Rect& other) = default;
    Rect& operator=(const Rect& other) = default;
    ~Rect() override;

    /// Top-left corner (x, y).
    const Wm4::Vector2<float>& getPosition() const { return m_position; }
    Wm4::Vector2<float>& editPosition() { return m_position; }
    /// (width, height).
    const Wm4::Vector2<float>& getSize() const { return m_size; }
    Wm4::Vector2<float>& editSize() { return m_size; }
    float getRx() const { return m_rx; }
    float& editRx() { return m_rx; }
    float getRy() const { return m_ry; }
    float& editRy() { return m_ry; }

    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    Wm4::Vector2<float> m_position;
    Wm4::Vector2<float> m_size;
    float m_rx = 0.0f;
    float m_ry = 0.0f;
};

/// A circle ("circle") of centre (cx, cy) and radius r.
class KXSVG_API Circle : public ItemInterface {
public:
    Circle(const Wm4::Vector2<float>& center, float radius);
    Circle(const Circle& other) = default;
    Circle& operator=(const Circle& other) = default;
    ~Circle() override;

    const Wm4::Vector2<float>& getCenter() const { return m_center; }
    Wm4::Vector2<float>& editCenter() { return m_center; }
    float getRadius() const { return m_radius; }
    float& editRadius() { return m_radius; }

    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    Wm4::Vector2<float> m_center;
    float m_radius;
};

/// A path ("path"): a list of path-data commands.
class KXSVG_API Path : public ItemInterface {
public:
    /// A command's value is the index of its letter in "MmLlAaHhVvCcSsZ".
    /// There is deliberately no quadratic curve command.
    enum class CommandType : uint8_t {
        MoveToAbs = 0,             ///< M x y
        MoveToRel = 1,             ///< m dx dy
        LineToAbs = 2,             ///< L x y
        LineToRel = 3,             ///< l dx dy
        EllipticalArcAbs = 4,      ///< A rx ry rotation large-arc sweep x y
        EllipticalArcRel = 5,      ///< a rx ry rotation large-arc sweep dx dy
        HLineToAbs = 6,            ///< H x
        HLineToRel = 7,            ///< h dx
        VLineToAbs = 8,            ///< V y
        VLineToRel = 9,            ///< v dy
        CubicBezierAbs = 10,       ///< C x1 y1 x2 y2 x y
        CubicBezierRel = 11,       ///< c, relative
        SmoothCubicBezierAbs = 12, ///< S x2 y2 x y
        SmoothCubicBezierRel = 13, ///< s, relative
        ClosePath = 14             ///< Z
    };

    /// One command and its numbers in path-data order (arc flags as 0.0 or 1.0).
    struct KXSVG_API Command {
        CommandType type;
        std::vector<float> arguments;

        Command(CommandType t, const std::vector<float>& args) : type(t), arguments(args) {}
        Command(CommandType t, std::vector<float>&& args) : type(t), arguments(std::move(args)) {}

        bool operator==(const Command& o) const { return type == o.type && arguments == o.arguments; }
        bool operator!=(const Command& o) const { return !(*this == o); }
    };

    using Commands = std::list<Command>;

    Path();
    Path(const Path& other) = default;
    Path& operator=(const Path& other) = default;
    ~Path() override;

    const Commands& getCommands() const { return m_commands; }
    Commands& editCommands() { return m_commands; }

    /// The union of the estimates of the path's lines and arcs; cubic curves are not measured.
    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    Commands m_commands;
};

/// A text ("text") anchored at a position, with its raw UTF-8 content.
class KXSVG_API Text : public ItemInterface {
public:
    Text(const Wm4::Vector2<float>& position, const std::string& content);
    Text(const Text& other) = default;
    Text& operator=(const Text& other) = default;
    ~Text() override;

    const Wm4::Vector2<float>& getPosition() const { return m_position; }
    Wm4::Vector2<float>& editPosition() { return m_position; }
    /// The content as read (see ApplySvgXMLSpaceDefault / ApplySvgXMLSpacePreserve).
    const std::string& getContent() const { return m_content; }
    std::string& editContent() { return m_content; }
    const std::optional<std::string>& getFontFamily() const { return m_fontFamily; }
    std::optional<std::string>& editFontFamily() { return m_fontFamily; }
    const std::optional<float>& getFontSize() const { return m_fontSize; }
    std::optional<float>& editFontSize() { return m_fontSize; }
    const std::optional<UnitValue>& getTextLength() const { return m_textLength; }
    std::optional<UnitValue>& editTextLength() { return m_textLength; }
    /// true: xml:space "preserve"; false: any other value; absent: no attribute.
    const std::optional<bool>& getXmlSpacePreserve() const { return m_xmlSpacePreserve; }
    std::optional<bool>& editXmlSpacePreserve() { return m_xmlSpacePreserve; }
    const std::optional<bool>& getBold() const { return m_bold; }
    std::optional<bool>& editBold() { return m_bold; }
    const std::optional<bool>& getItalic() const { return m_italic; }
    std::optional<bool>& editItalic() { return m_italic; }
    const std::optional<bool>& getUnderline() const { return m_underline; }
    std::optional<bool>& editUnderline() { return m_underline; }

    /// Writes the content (which must be valid UTF-8 and shorter than 2^31 bytes), then closes.
    bool endWriteAsXml(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;
    /// Text has no estimated extent: always false.
    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    Wm4::Vector2<float> m_position;
    std::string m_content;
    std::optional<std::string> m_fontFamily;
    std::optional<float> m_fontSize;
    std::optional<UnitValue> m_textLength;
    std::optional<bool> m_xmlSpacePreserve;
    std::optional<bool> m_bold;
    std::optional<bool> m_italic;
    std::optional<bool> m_underline;
};

/// An image reference ("image").
class KXSVG_API Image : public ItemInterface {
public:
    /// "preserveAspectRatio" keywords.
    enum class AspectRatio : uint8_t {
        None = 0, ///< "none"
        XMinYMin = 1,
        XMidYMin = 2,
        XMaxYMin = 3,
        XMinYMid = 4,
        XMidYMid = 5,
        XMaxYMid = 6,
        XMinYMax = 7,
        XMidYMax = 8,
        XMaxYMax = 9
    };

    Image();
    Image(const Image& other) = default;
    Image& operator=(const Image& other) = default;
    ~Image() override;

    const Wm4::Vector2<float>& getPosition() const { return m_position; }
    Wm4::Vector2<float>& editPosition() { return m_position; }
    const Wm4::Vector2<float>& getSize() const { return m_size; }
    Wm4::Vector2<float>& editSize() { return m_size; }
    /// The reference, verbatim.
    const std::string& getHref() const { return m_href; }
    std::string& editHref() { return m_href; }
    const std::optional<AspectRatio>& getPreserveAspectRatio() const { return m_preserveAspectRatio; }
    std::optional<AspectRatio>& editPreserveAspectRatio() { return m_preserveAspectRatio; }

    bool computeEstimatedBoundingVolume(BoundingBox& box, const Wm4::Matrix3<float>& transform) const override;

protected:
    bool beginWriteAsXmlImplPre(kx::xml::XmlSaveContext& context, const SaveOptions& options) const override;

private:
    Wm4::Vector2<float> m_position;
    Wm4::Vector2<float> m_size;
    std::string m_href;
    std::optional<AspectRatio> m_preserveAspectRatio;
};

} // namespace svg
} // namespace kx

#endif
