// TreeDump.cpp - the text form of an item tree shared by the reader goldens and
// the corpus round trip.
#include "TestSupport.h"

#include <kx/svg/Units.h>
#include <kx/system/kxStringUtils.h>

#include <sstream>

namespace kxtest {
namespace {

using namespace kx::svg;

std::string ExactNumber(float v)
{
    if (v == 0.0f) v = 0.0f; // no "-0"
    return kxStringUtils::fromFloatImpl(v, 9, 2);
}

} // namespace

std::string DumpProperties(const RenderingProperties& p, const NumberText& givenNumber)
{
    const NumberText number = givenNumber ? givenNumber : NumberText(ExactNumber);
    std::ostringstream out;
    auto opt = [&](const char* name, const auto& value) {
        if (value) out << " " << name << "=" << number(float(*value));
    };
    opt("opacity", p.opacity);
    opt("stroke-width", p.strokeWidth);
    opt("stroke-opacity", p.strokeOpacity);
    if (p.stroke) out << " stroke=" << *p.stroke;
    if (p.strokeLinecap) out << " linecap=" << int(*p.strokeLinecap);
    if (p.strokeLinejoin) out << " linejoin=" << int(*p.strokeLinejoin);
    if (p.strokeDasharray) {
        out << " dasharray=[";
        for (size_t i = 0; i < p.strokeDasharray->size(); ++i) {
            std::string unit;
            UnitToString((*p.strokeDasharray)[i].unit, unit, false);
            out << (i ? " " : "") << number((*p.strokeDasharray)[i].value) << unit;
        }
        out << "]";
    }
    if (p.className) out << " class=" << *p.className;
    if (p.fill) out << " fill=" << *p.fill;
    opt("fill-opacity", p.fillOpacity);
    if (p.vectorEffect) out << " vector-effect=" << int(*p.vectorEffect);
    return out.str();
}

namespace {

// A compact text form of a tree, to pin whole results in golden files.
void Dump(const ItemInterface& item, int depth, const NumberText& number, bool withStyle, std::ostringstream& out)
{
    static const char* names[] = {"svg", "g", "line", "rect", "circle", "path", "text", "image"};
    out << std::string(size_t(depth) * 2, ' ') << names[int(item.getType())];
    if (item.getId()) out << " id=" << *item.getId();
    if (const auto& m = item.getTransform()) {
        out << " transform=(";
        for (int i = 0; i < 6; ++i) out << (i ? " " : "") << number((*m)(i % 2, i / 2));
        out << ")";
    }
    out << DumpProperties(item.getRenderingProperties(), number);
    switch (item.getType()) {
    case ItemType::Document: {
        const auto& d = static_cast<const Document&>(item);
        if (d.getViewbox())
            out << " viewBox=(" << number(d.getViewbox()->getMinPoint().X()) << " "
                << number(d.getViewbox()->getMinPoint().Y()) << " " << number(d.getViewbox()->getWidth()) << " "
                << number(d.getViewbox()->getHeight()) << ")";
        if (d.getStyle()) out << " style=[" << (withStyle ? *d.getStyle() : std::string("...")) << "]";
        break;
    }
    case ItemType::Line: {
        const auto& l = static_cast<const Line&>(item);
        out << " (" << number(l.getStart().X()) << " " << number(l.getStart().Y()) << ") (" << number(l.getEnd().X())
            << " " << number(l.getEnd().Y()) << ")";
        break;
    }
    case ItemType::Rect: {
        const auto& r = static_cast<const Rect&>(item);
        out << " (" << number(r.getPosition().X()) << " " << number(r.getPosition().Y()) << ") size ("
            << number(r.getSize().X()) << " " << number(r.getSize().Y()) << ") r (" << number(r.getRx()) << " "
            << number(r.getRy()) << ")";
        break;
    }
    case ItemType::Circle: {
        const auto& c = static_cast<const Circle&>(item);
        out << " (" << number(c.getCenter().X()) << " " << number(c.getCenter().Y()) << ") r "
            << number(c.getRadius());
        break;
    }
    case ItemType::Path: {
        out << " d=";
        for (const auto& command : static_cast<const Path&>(item).getCommands()) {
            out << "MmLlAaHhVvCcSsZ"[int(command.type)];
            for (size_t i = 0; i < command.arguments.size(); ++i)
                out << (i ? "," : "") << number(command.arguments[i]);
        }
        break;
    }
    case ItemType::Text: {
        const auto& t = static_cast<const Text&>(item);
        out << " (" << number(t.getPosition().X()) << " " << number(t.getPosition().Y()) << ")";
        if (t.getFontFamily()) out << " font-family=" << *t.getFontFamily();
        if (t.getFontSize()) out << " font-size=" << number(*t.getFontSize());
        if (t.getTextLength()) {
            std::string unit;
            UnitToString(t.getTextLength()->unit, unit, false);
            out << " textLength=" << number(t.getTextLength()->value) << unit;
        }
        if (t.getXmlSpacePreserve()) out << " preserve=" << *t.getXmlSpacePreserve();
        if (t.getBold()) out << " bold=" << *t.getBold();
        if (t.getItalic()) out << " italic=" << *t.getItalic();
        if (t.getUnderline()) out << " underline=" << *t.getUnderline();
        out << " content=[" << t.getContent() << "]";
        break;
    }
    case ItemType::Image: {
        const auto& i = static_cast<const Image&>(item);
        out << " (" << number(i.getPosition().X()) << " " << number(i.getPosition().Y()) << ") size ("
            << number(i.getSize().X()) << " " << number(i.getSize().Y()) << ") href=" << i.getHref();
        if (i.getPreserveAspectRatio()) out << " aspect=" << int(*i.getPreserveAspectRatio());
        break;
    }
    default:
        break;
    }
    out << "\n";
    if (item.getType() == ItemType::Node || item.getType() == ItemType::Document)
        for (const auto& c : static_cast<const Node&>(item).getChildren())
            if (c) Dump(*c, depth + 1, number, withStyle, out);
}

} // namespace

std::string DumpTree(const ItemInterface* root, const NumberText& number, bool withStyle)
{
    if (!root) return "(no tree)\n";
    std::ostringstream out;
    Dump(*root, 0, number ? number : NumberText(ExactNumber), withStyle, out);
    return out.str();
}

} // namespace kxtest
