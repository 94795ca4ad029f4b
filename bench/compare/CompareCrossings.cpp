// CompareCrossings.cpp - the fill that resolves crossings against GLU.
#include "Compare.h"

#include <cstdio>
#include <random>

namespace kxcompare {

// The fill of crossing outlines against GLU (odd winding, which adds the
// crossing vertices through its combine callback) on star polygons {n/k},
// overlapping rings and self-crossing zig-zags; and what resolving costs on
// outlines that do not cross (the fill first tries the plain triangulation).

// The filled outlines of the corpus icon sets that the plain triangulation
// refuses because they cross themselves: the fill resolves them, GLU adds the
// crossing vertices. Both run over the whole set once per round.
void CompareCorpusCrossings(const std::string& corpus)
{
    std::vector<Polygon> shapes;
    std::vector<Vec2> outPoints;
    std::vector<unsigned int> outIndices;
    std::size_t scanned = 0;
    for (const char* set : {"mdi-svg", "simple-icons", "bootstrap-icons", "adwaita-icon-theme", "tango-icon-theme"}) {
        std::size_t icons = 0;
        for (Polygon& poly : IconOutlines(corpus + "/" + set, &icons)) {
            ++scanned;
            if (OurTriangulate(poly, outPoints, outIndices) < 0) shapes.push_back(std::move(poly));
        }
    }
    if (shapes.empty()) {
        AddRow("crossings", "corpus shapes that cross themselves", "n/a", "", 0, "corpus absent or no such shape");
        return;
    }
    double vertices = 0;
    for (const Polygon& p : shapes) vertices += double(p.vertexCount());
    std::vector<double> ours, glu;
    std::vector<double> oursAreas(shapes.size()), gluAreas(shapes.size());
    GluTess tess;
    for (int r = 0; r < gRounds; ++r) {
        double t = CpuSeconds();
        for (std::size_t i = 0; i < shapes.size(); ++i) oursAreas[i] = OurFill(shapes[i], outPoints, outIndices);
        ours.push_back(CpuSeconds() - t);
        t = CpuSeconds();
        for (std::size_t i = 0; i < shapes.size(); ++i) gluAreas[i] = tess.triangulate(shapes[i]);
        glu.push_back(CpuSeconds() - t);
    }
    std::size_t refused = 0, differs = 0;
    for (std::size_t i = 0; i < shapes.size(); ++i) {
        if (oursAreas[i] < 0) ++refused;
        else if (gluAreas[i] >= 0 && !SameArea(oursAreas[i], gluAreas[i])) ++differs;
    }
    const double o = vertices / Median(ours) / 1e6, g = vertices / Median(glu) / 1e6;
    const std::string label = "corpus shapes that cross themselves (" + std::to_string(shapes.size()) + " of " +
                              std::to_string(scanned) + " icon fills, " + Fixed(vertices / 1e3, 1) + " k vertices): ";
    AddRow("crossings", label + "TriangulateFill (M vertices/s)", Fixed(o, 3), "", 0,
           std::to_string(refused) + " refused, " + std::to_string(differs) + " with an area unlike GLU's");
    AddRow("crossings", label + "GLU, odd winding (M vertices/s)", Fixed(g, 3), "", 0);
    AddRow("crossings", label + "TriangulateFill / GLU", Fixed(o / g, 2) + "x", ">= 1.5x", Verdict(o / g >= 1.5));
}

void CompareCrossings(const std::string& corpus)
{
    std::printf("\n== triangulation: crossing outlines ==\n");
    std::vector<Vec2> outPoints;
    std::vector<unsigned int> outIndices;
    struct Case {
        std::string name;
        Polygon poly;
    };
    std::vector<Case> cases;
    for (const auto& nk : {std::pair<std::size_t, std::size_t>{20001, 5}, {2001, 50}, {201, 20}}) {
        const std::vector<Vec2> ring = Circle(nk.first, 0, 0, 1000);
        std::vector<Vec2> star;
        for (std::size_t i = 0; i < nk.first; ++i) star.push_back(ring[(i * nk.second) % nk.first]);
        cases.push_back({"star {" + std::to_string(nk.first) + "/" + std::to_string(nk.second) + "}", ClosedRings({star})});
    }
    {
        std::mt19937 rng(5);
        std::uniform_real_distribution<double> at(0.0, 1000.0), radius(20.0, 120.0);
        std::vector<std::vector<Vec2>> rings;
        for (int i = 0; i < 400; ++i) rings.push_back(Circle(64, at(rng), at(rng), radius(rng)));
        cases.push_back({"400 overlapping rings of 64 vertices", ClosedRings(rings)});
    }
    const int gluLimit = 60; // seconds; GLU slows down badly on dense stars
    for (const Case& c : cases) {
        const double n = double(c.poly.vertexCount());
        std::vector<double> ours, glu;
        double oursArea = 0, gluArea = 0;
        for (int r = 0; r < gRounds; ++r) {
            const double t = CpuSeconds();
            oursArea = OurFill(c.poly, outPoints, outIndices);
            ours.push_back(CpuSeconds() - t);
            if (r > 0 && glu.empty()) continue; // GLU ran out of time in the first round
            const ChildResult g = RunInChild(
                [&] {
                    GluTess tess;
                    return tess.triangulate(c.poly);
                },
                gluLimit);
            if (g.ok) {
                glu.push_back(g.seconds);
                gluArea = g.value;
            }
        }
        const double o = n / Median(ours) / 1e6;
        AddRow("crossings", c.name + ": TriangulateFill (M vertices/s)", Fixed(o, 3), "", 0,
               oursArea < 0 ? "REFUSED"
                            : (glu.empty() ? "" : SameArea(oursArea, gluArea) ? "area equals GLU's" : "area differs from GLU's"));
        if (glu.empty()) {
            const double bound = n / gluLimit / 1e6;
            AddRow("crossings", c.name + ": GLU, odd winding (M vertices/s)", "< " + Fixed(bound, 4), "", 0,
                   "stopped after " + std::to_string(gluLimit) + " s");
            AddRow("crossings", c.name + ": TriangulateFill / GLU", "> " + Fixed(o / bound, 0) + "x", ">= 1.5x", 1);
            continue;
        }
        const double g = n / Median(glu) / 1e6;
        AddRow("crossings", c.name + ": GLU, odd winding (M vertices/s)", Fixed(g, 3), "", 0);
        AddRow("crossings", c.name + ": TriangulateFill / GLU", Fixed(o / g, 2) + "x", ">= 1.5x", Verdict(o / g >= 1.5));
    }
    CompareCorpusCrossings(corpus);
    // No crossing: the plain triangulation succeeds and the fill adds only its input check.
    const Polygon star = StarPolygon(100000);
    std::vector<double> plain, fill;
    for (int r = 0; r < gRounds; ++r) {
        double t = CpuSeconds();
        OurTriangulate(star, outPoints, outIndices);
        plain.push_back(CpuSeconds() - t);
        t = CpuSeconds();
        OurFill(star, outPoints, outIndices);
        fill.push_back(CpuSeconds() - t);
    }
    const double overhead = Median(fill) / Median(plain) - 1.0;
    AddRow("crossings", "star, 100000 vertices, no crossing: TriangulateFill / TriangulatePoly time - 1",
           Fixed(100 * overhead, 1) + "%", "<= 15%", Verdict(overhead <= 0.15));
}

} // namespace kxcompare
