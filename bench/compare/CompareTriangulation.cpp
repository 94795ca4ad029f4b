// CompareTriangulation.cpp - the triangulation against GLU and CGAL on
// star-shaped polygons and on the filled outlines of the mdi icon set.
#include "Compare.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace kxcompare {

void CompareStars()
{
    std::printf("\n== triangulation: star-shaped polygons ==\n");
    std::vector<Vec2> outPoints;
    std::vector<unsigned int> outIndices;
    double oursPerSize[2] = {0, 0};
    const std::size_t sizes[2] = {100000, 1000000};
    const int gluLimit = 60; // seconds; GLU is known to slow down badly on star shapes
    bool gluTimedOut = false;
    for (int s = 0; s < 2; ++s) {
        const Polygon star = StarPolygon(sizes[s]);
        const double n = double(star.vertexCount());
        std::vector<double> ours, glu, cgal;
        double oursArea = 0, gluArea = 0, cgalArea = 0;
        const bool gluGaveUpBefore = gluTimedOut;
        const int rounds = std::max(1, s == 0 ? gRounds : std::min(gRounds, 3));
        for (int r = 0; r < rounds; ++r) {
            double t = CpuSeconds();
            oursArea = OurTriangulate(star, outPoints, outIndices);
            ours.push_back(CpuSeconds() - t);
            if (!gluTimedOut) {
                const ChildResult g = RunInChild(
                    [&] {
                        GluTess tess;
                        return tess.triangulate(star);
                    },
                    gluLimit);
                if (g.ok) {
                    glu.push_back(g.seconds);
                    gluArea = g.value;
                } else {
                    gluTimedOut = true;
                }
            }
            t = CpuSeconds();
            cgalArea = CgalTriangulate(star);
            cgal.push_back(CpuSeconds() - t);
        }
        const double o = n / Median(ours) / 1e6, c = n / Median(cgal) / 1e6;
        oursPerSize[s] = Median(ours);
        const std::string label = "star, " + std::to_string(sizes[s]) + " vertices: ";
        AddRow("triangulation", label + "libkxSvg (M vertices/s)", Fixed(o, 2), s == 1 ? ">= 2" : "",
               s == 1 ? Verdict(o >= 2) : 0,
               oursArea < 0 ? "REFUSED" : (SameArea(oursArea, cgalArea) ? "area equals CGAL's" : "AREA DIFFERS FROM CGAL"));
        AddRow("triangulation", label + "CGAL constrained Delaunay (M vertices/s)", Fixed(c, 2), "", 0);
        AddRow("triangulation", label + "libkxSvg / CGAL", Fixed(o / c, 2) + "x", ">= 2x", Verdict(o / c >= 2));
        if (glu.empty()) {
            const double bound = n / gluLimit / 1e6;
            AddRow("triangulation", label + "GLU tessellator, odd winding (M vertices/s)", "< " + Fixed(bound, 3), "", 0,
                   gluGaveUpBefore ? "not run: stopped after " + std::to_string(gluLimit) + " s on the smaller star"
                                   : "stopped after " + std::to_string(gluLimit) + " s");
            AddRow("triangulation", label + "libkxSvg / GLU", "> " + Fixed(o / bound, 0) + "x", ">= 2x", 1);
        } else {
            const double g = n / Median(glu) / 1e6;
            AddRow("triangulation", label + "GLU tessellator, odd winding (M vertices/s)", Fixed(g, 2), "", 0,
                   gluArea < 0 ? "GLU reported an error" : (SameArea(gluArea, cgalArea) ? "" : "GLU area differs"));
            AddRow("triangulation", label + "libkxSvg / GLU", Fixed(o / g, 2) + "x", ">= 2x", Verdict(o / g >= 2));
        }
    }
    const double growth = oursPerSize[1] / oursPerSize[0];
    AddRow("triangulation", "star: time(1,000,000) / time(100,000)", Fixed(growth, 2), "<= 12", Verdict(growth <= 12));
}

void CompareIcons(const std::string& corpus)
{
    std::printf("\n== triangulation: icon outlines ==\n");
    std::vector<Vec2> outPoints;
    std::vector<unsigned int> outIndices;
    std::size_t icons = 0;
    const std::vector<Polygon> outlines = IconOutlines(corpus + "/mdi-svg", &icons);
    if (outlines.empty()) {
        AddRow("triangulation", "icon outlines", "n/a", "", 0, "corpus absent");
        return;
    }
    double vertices = 0;
    std::size_t rings = 0;
    for (const Polygon& p : outlines) {
        vertices += double(p.vertexCount());
        rings += p.ringStarts.size() - 1;
    }
    std::vector<double> ours, glu, cgal;
    std::vector<double> oursAreas(outlines.size()), gluAreas(outlines.size()), cgalAreas(outlines.size());
    GluTess tess;
    for (int r = 0; r < gRounds; ++r) {
        double t = CpuSeconds();
        for (std::size_t i = 0; i < outlines.size(); ++i) oursAreas[i] = OurTriangulate(outlines[i], outPoints, outIndices);
        ours.push_back(CpuSeconds() - t);
        t = CpuSeconds();
        for (std::size_t i = 0; i < outlines.size(); ++i) gluAreas[i] = tess.triangulate(outlines[i]);
        glu.push_back(CpuSeconds() - t);
        t = CpuSeconds();
        for (std::size_t i = 0; i < outlines.size(); ++i) cgalAreas[i] = CgalTriangulate(outlines[i]);
        cgal.push_back(CpuSeconds() - t);
    }
    // A fill whose area matches neither other tool's is suspect; GLU and CGAL
    // disagree with each other on overlapping or repeated edges, where the
    // even-odd area depends on how a tool counts them.
    std::size_t refused = 0, suspect = 0, gluDiffers = 0, cgalDiffers = 0;
    for (std::size_t i = 0; i < outlines.size(); ++i) {
        if (oursAreas[i] < 0) ++refused;
        else if (!SameArea(oursAreas[i], cgalAreas[i]) && !SameArea(oursAreas[i], gluAreas[i])) {
            if (++suspect && std::getenv("KXSVG_COMPARE_VERBOSE"))
                std::printf("  shape %zu (%s): %zu rings, %zu vertices, area libkxSvg %.9g, GLU %.9g, CGAL %.9g\n", i,
                            outlines[i].source.c_str(), outlines[i].ringStarts.size() - 1, outlines[i].vertexCount(),
                            oursAreas[i], gluAreas[i], cgalAreas[i]);
            if (suspect <= 3 && std::getenv("KXSVG_COMPARE_DUMP")) {
                const Polygon& poly = outlines[i];
                for (std::size_t e = 0; e + 1 < poly.edges.size(); e += 2)
                    std::printf("    %u %u  (%.9g %.9g)\n", poly.edges[e], poly.edges[e + 1],
                                double(poly.points[poly.edges[e]].X()), double(poly.points[poly.edges[e]].Y()));
            }
        }
        if (gluAreas[i] < 0 || !SameArea(gluAreas[i], cgalAreas[i])) ++gluDiffers;
        if (oursAreas[i] >= 0 && !SameArea(oursAreas[i], cgalAreas[i])) ++cgalDiffers;
    }
    const double o = vertices / Median(ours) / 1e6, g = vertices / Median(glu) / 1e6, c = vertices / Median(cgal) / 1e6;
    const std::string label = "mdi icons (" + std::to_string(icons) + " icons, " + std::to_string(outlines.size()) +
                              " shapes, " + std::to_string(rings) + " rings, " + Fixed(vertices / 1e6, 2) + " M vertices): ";
    AddRow("triangulation", label + "libkxSvg (M vertices/s)", Fixed(o, 2), ">= 4", Verdict(o >= 4),
           std::to_string(refused) + " refused, " + std::to_string(suspect) + " with an area unlike both GLU's and CGAL's");
    AddRow("triangulation", label + "GLU (M vertices/s)", Fixed(g, 2), "", 0,
           std::to_string(gluDiffers) + " with an area unlike CGAL's");
    AddRow("triangulation", label + "CGAL (M vertices/s)", Fixed(c, 2), "", 0,
           std::to_string(cgalDiffers) + " where libkxSvg's area differs from CGAL's");
    AddRow("triangulation", label + "libkxSvg / GLU", Fixed(o / g, 2) + "x", ">= 2x", Verdict(o / g >= 2));
    AddRow("triangulation", label + "libkxSvg / CGAL", Fixed(o / c, 2) + "x", ">= 2x", Verdict(o / c >= 2));
}

} // namespace kxcompare
