// Compare.h - what the parts of kxsvg_compare share: timing, the report, the
// inputs (large drawings, polygons) and each tool's entry points.
//
// kxsvg_compare runs libkxSvg and the tools users would pick instead (librsvg,
// the GLU tessellator, CGAL) on the same inputs, alternating between them
// round after round, and prints every figure with its goal as Markdown.
#ifndef KX_BENCH_COMPARE_H
#define KX_BENCH_COMPARE_H

#include "Clock.h"

#include <kx/svg/Items.h>
#include <kx/svg/SegmentedPrimitive.h>

#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

class GLUtesselator;

namespace kxcompare {

using Vec2 = Wm4::Vector2<float>;
using kx::svg::ItemInterface;
using kx::svg::ItemInterfacePointer;

// ------------------------------------------------------------------ timing (Timing.cpp)

/// Every operator new of the process, counted (a phase that allocates nothing shows 0).
extern std::atomic<unsigned long long> gAllocations;
/// Comparison rounds (--rounds); each figure is the median over them.
extern int gRounds;
/// This program's own path, started again for fresh-process figures.
extern std::string gSelf;

/// Resident set of this process now (KiB).
long CurrentRssKb();
/// Peak resident set of this process (VmHWM, KiB).
double PeakRssOfThisProcessKb();

struct ChildResult {
    bool ok = false;
    bool timedOut = false;
    double seconds = 0.0; // CPU time of the work in the child
    double peakMb = 0.0;  // resident-set growth during the work
    double value = 0.0;   // what the work returned
};

/// Runs `work` in a forked child that reports its CPU time, the growth of
/// its peak resident set and the work's result; killed after `timeoutSeconds`.
ChildResult RunInChild(const std::function<double()>& work, int timeoutSeconds);

// ------------------------------------------------------------------ report (Report.cpp)

std::string Fixed(double v, int decimals);
/// Prints one figure and keeps it for the Markdown table; verdict 0 none, 1 met, 2 not met.
void AddRow(const std::string& area, const std::string& figure, const std::string& value, const std::string& goal,
            int verdict, const std::string& note = std::string());
inline int Verdict(bool met) { return met ? 1 : 2; }
/// Writes the figures kept so far as a Markdown table.
void WriteMarkdown(const std::string& path);

// ------------------------------------------------------------------ inputs (Inputs.cpp)

struct LargeFile {
    std::string path;
    std::string name;
    std::string bytes;
};

/// The large drawings of the corpus, read into memory.
std::vector<LargeFile> LoadLargeFiles();
/// Every ` d="..."` text of a file (a plain scan, no XML parser).
std::vector<std::string> ExtractPathData(const std::string& content);
/// Length of the number token at `p` (path-data number syntax), 0 when none.
std::size_t NumberToken(const char* p, const char* end);

struct Polygon {
    std::string source; // the file it comes from, when any
    std::vector<Vec2> points;
    std::vector<unsigned int> edges;
    // The edges with the closing pairs of open chains, when the segmenter would
    // triangulate those (empty: the edges themselves).
    std::vector<unsigned int> fillEdges;
    // The same rings as closed vertex lists, for the tools that take contours.
    std::vector<double> ringCoords;       // x, y, 0 per vertex
    std::vector<std::size_t> ringStarts;  // vertex offsets; one more than the ring count
    std::vector<std::pair<std::size_t, std::size_t>> cgalEdges;
    std::vector<CGAL::Epick::Point_2> cgalPoints;

    std::size_t vertexCount() const { return edges.size() / 2; }

    /// Fills the ring and CGAL forms from points and edges.
    void prepare();
};

/// A star-shaped polygon: random radii in [100, 1000] at even angles.
Polygon StarPolygon(std::size_t n);
/// Every filled primitive of every icon under `folder`, segmented and cleaned as the library does it.
std::vector<Polygon> IconOutlines(const std::string& folder, std::size_t* icons);
/// Closed rings as one polygon.
Polygon ClosedRings(const std::vector<std::vector<Vec2>>& rings);
/// A regular n-gon on a circle.
std::vector<Vec2> Circle(std::size_t n, double cx, double cy, double r);

double TriangleArea(const double* a, const double* b, const double* c);
/// The area of a triangulation's output.
double TrianglesArea(const std::vector<Vec2>& outPoints, const std::vector<unsigned int>& outIndices);
bool SameArea(double a, double b);

// ------------------------------------------------------------------ the tools

/// libkxSvg's load of a document in memory (Ours.cpp).
bool OurLoad(const std::string& bytes, ItemInterfacePointer<ItemInterface>& root);
/// libkxSvg's triangulation by even-odd; the filled area, or -1 when refused.
double OurTriangulate(const Polygon& poly, std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices);
/// libkxSvg's fill that resolves crossings; the filled area, or -1 when refused.
double OurFill(const Polygon& poly, std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices);

/// libxml2's SAX parser with empty callbacks: the floor under any load (Rsvg.cpp).
bool SaxEmptyParse(const std::string& bytes);
/// librsvg's load of a document in memory.
bool RsvgLoad(const std::string& bytes);

/// A GLU tessellator set to odd winding and independent triangles (Glu.cpp).
class GluTess {
public:
    GluTess();
    ~GluTess();
    GluTess(const GluTess&) = delete;
    GluTess& operator=(const GluTess&) = delete;
    /// The filled area of the polygon's rings, or -1 on a GLU error.
    double triangulate(const Polygon& poly);

private:
    GLUtesselator* m_tess;
};

/// CGAL's constrained Delaunay triangulation, faces inside by even-odd nesting; the filled area (Cgal.cpp).
double CgalTriangulate(const Polygon& poly);

// ------------------------------------------------------------------ the comparisons

void CompareLoad(const std::vector<LargeFile>& files);      // CompareLoad.cpp
void CompareFreshLoad(const std::vector<LargeFile>& files); // CompareFreshLoad.cpp
int ChildLoad(const std::string& tool, const std::string& file);
void CompareNumbers(const std::vector<LargeFile>& files);   // CompareText.cpp
void CompareSave(const std::vector<LargeFile>& files);
void CompareFlattening();                                   // CompareFlattening.cpp
void CompareStars();                                        // CompareTriangulation.cpp
void CompareIcons(const std::string& corpus);
void CompareCrossings(const std::string& corpus);                                    // CompareCrossings.cpp
/// Only the corpus shapes that cross themselves, of CompareCrossings.
void CompareCorpusCrossings(const std::string& corpus);                              // CompareCrossings.cpp

} // namespace kxcompare

#endif
