// Info.cpp - "kxsvg info": messages, tree summary, view box, estimated and tight boxes.
#include "Commands.h"
#include "Common.h"

#include <nlohmann/json.hpp>

#include <array>
#include <iostream>
#include <utility>

namespace kxsvg {
namespace {

const char* const kKindNames[] = {"document", "group", "line", "rect", "circle", "path", "text", "image"};

struct TreeSummary {
    std::array<int, 8> perKind{};
    int total = 0;
    int depth = 0;
    std::vector<std::string> ids;
};

// Walks the tree with an explicit stack so that very deep trees are fine.
TreeSummary summarize(const kx::svg::ItemInterface& root)
{
    TreeSummary summary;
    std::vector<std::pair<const kx::svg::ItemInterface*, int>> stack{{&root, 1}};
    while (!stack.empty()) {
        auto [item, depth] = stack.back();
        stack.pop_back();
        ++summary.total;
        unsigned kind = static_cast<unsigned>(item->getType());
        if (kind < summary.perKind.size()) ++summary.perKind[kind];
        if (depth > summary.depth) summary.depth = depth;
        if (item->getId()) summary.ids.push_back(*item->getId());
        if (item->getType() == kx::svg::ItemType::Node || item->getType() == kx::svg::ItemType::Document) {
            const auto& children = static_cast<const kx::svg::Node*>(item)->getChildren();
            for (auto it = children.rbegin(); it != children.rend(); ++it)
                if (*it) stack.emplace_back(it->get(), depth + 1);
        }
    }
    return summary;
}

nlohmann::json boxJson(const kx::svg::BoundingBox& box)
{
    if (!box.isValid()) return nullptr;
    return {box.getMinPoint().X(), box.getMinPoint().Y(), box.getMaxPoint().X(), box.getMaxPoint().Y()};
}

std::string boxText(const kx::svg::BoundingBox& box)
{
    if (!box.isValid()) return "empty";
    return formatNumber(box.getMinPoint().X()) + " " + formatNumber(box.getMinPoint().Y()) + " " +
           formatNumber(box.getMaxPoint().X()) + " " + formatNumber(box.getMaxPoint().Y());
}

nlohmann::json describe(const std::string& file, const LoadedDrawing& drawing)
{
    nlohmann::json out;
    out["file"] = file;
    out["loaded"] = drawing.loaded;
    out["messages"] = drawing.messages;
    if (!drawing.loaded || !drawing.root) return out;
    TreeSummary summary = summarize(*drawing.root);
    nlohmann::json kinds;
    for (std::size_t i = 0; i < summary.perKind.size(); ++i) kinds[kKindNames[i]] = summary.perKind[i];
    out["items"] = {{"total", summary.total}, {"kinds", kinds}};
    out["depth"] = summary.depth;
    out["ids"] = summary.ids;
    out["viewBox"] = nullptr;
    if (drawing.root->getType() == kx::svg::ItemType::Document) {
        const auto& vb = static_cast<const kx::svg::Document&>(*drawing.root).getViewbox();
        if (vb && vb->isValid())
            out["viewBox"] = {vb->getMinPoint().X(), vb->getMinPoint().Y(), vb->getWidth(), vb->getHeight()};
    }
    kx::svg::BoundingBox estimated;
    kx::svg::ComputeEstimatedBoundingBox(*drawing.root, estimated, nullptr, nullptr);
    out["estimatedBox"] = boxJson(estimated);
    const kx::svg::TightBoxResult tight = kx::svg::ComputeTightBoundingBox(*drawing.root, nullptr, nullptr);
    out["tightBox"] = boxJson(tight.box);
    out["unmeasuredItems"] = tight.unmeasuredItems;
    return out;
}

void printText(const std::string& file, const LoadedDrawing& drawing)
{
    std::cout << file << ": " << (drawing.loaded ? "loaded" : "failed") << "\n";
    for (const std::string& message : drawing.messages) std::cout << "  message: " << message << "\n";
    if (!drawing.loaded || !drawing.root) return;
    TreeSummary summary = summarize(*drawing.root);
    std::cout << "  items: " << summary.total << " (";
    bool first = true;
    for (std::size_t i = 0; i < summary.perKind.size(); ++i) {
        if (!summary.perKind[i]) continue;
        std::cout << (first ? "" : ", ") << kKindNames[i] << " " << summary.perKind[i];
        first = false;
    }
    std::cout << ")\n  depth: " << summary.depth << "\n  ids: " << summary.ids.size();
    for (std::size_t i = 0; i < summary.ids.size() && i < 8; ++i) std::cout << (i ? ", " : " (") << summary.ids[i];
    if (!summary.ids.empty()) std::cout << (summary.ids.size() > 8 ? ", ...)" : ")");
    std::cout << "\n  view box: ";
    const kx::svg::Document* document = drawing.root->getType() == kx::svg::ItemType::Document
                                            ? static_cast<const kx::svg::Document*>(drawing.root.get())
                                            : nullptr;
    if (document && document->getViewbox() && document->getViewbox()->isValid()) {
        const auto& vb = *document->getViewbox();
        std::cout << formatNumber(vb.getMinPoint().X()) << " " << formatNumber(vb.getMinPoint().Y()) << " "
                  << formatNumber(vb.getWidth()) << " " << formatNumber(vb.getHeight());
    } else {
        std::cout << "none";
    }
    kx::svg::BoundingBox estimated;
    kx::svg::ComputeEstimatedBoundingBox(*drawing.root, estimated, nullptr, nullptr);
    std::cout << "\n  estimated box: " << boxText(estimated) << "\n";
    const kx::svg::TightBoxResult tight = kx::svg::ComputeTightBoundingBox(*drawing.root, nullptr, nullptr);
    std::cout << "  tight box: " << boxText(tight.box);
    if (tight.unmeasuredItems) std::cout << " (" << tight.unmeasuredItems << " texts or images not measured)";
    std::cout << "\n";
}

} // namespace

int runInfo(const InfoArgs& args)
{
    int status = ExitOk;
    nlohmann::json all = nlohmann::json::array();
    for (const std::string& file : args.files) {
        LoadedDrawing drawing = loadFile(file, args.strict, args.preflight);
        if (!drawing.loaded) status = ExitFailed;
        if (args.json)
            all.push_back(describe(file, drawing));
        else
            printText(file, drawing);
    }
    if (args.json) std::cout << (all.size() == 1 ? all[0] : all).dump(2) << "\n";
    return status;
}

} // namespace kxsvg
