// TestSupport.h - helpers shared by the test programs.
#ifndef KX_TEST_SUPPORT_H
#define KX_TEST_SUPPORT_H

#include <kx/svg/Items.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/svg/Triangulate.h>
#include <kx/system/kxIoDevice.h>

#include "CorpusFiles.h"
#include "Outline.h"

#include <functional>
#include <string>
#include <vector>

namespace kxtest {

// The corpus folder and whole-file reading: one home, shared with the benchmarks.
using kxcorpus::corpusDir;
using kxcorpus::readFile;

/// Every *.svg file below `dir`, sorted by path.
std::vector<std::string> listSvgFiles(const std::string& dir);

using kxcorpus::Outline;

/// (a - o) x (b - o) in double: twice the signed area of the triangle o, a, b.
inline double Cross(const Wm4::Vector2<float>& o, const Wm4::Vector2<float>& a, const Wm4::Vector2<float>& b)
{
    return (double(a.X()) - o.X()) * (double(b.Y()) - o.Y()) - (double(a.Y()) - o.Y()) * (double(b.X()) - o.X());
}


/// Winding number of (px, py) over directed segments (index pairs into `points`),
/// by a ray to +x; sets `near` when the point lies within `tolerance` of a segment.
int WindingAt(const std::vector<Wm4::Vector2<float>>& points, const std::vector<unsigned int>& edges, double px,
              double py, double tolerance, bool& near);

/// The n corners of a regular polygon, counter-clockwise from angle `phase`.
std::vector<Wm4::Vector2<float>> RegularPolygon(int n, double cx, double cy, double radius, double phase = 0.0);

/// Checks triangles (`indices` into `triangles`) against the outline they fill
/// under `rule`, by means independent of the triangulation: indices in range,
/// every triangle counter-clockwise with its centroid in the fill, and
/// `samples` random points of the outline's box covered by exactly one
/// triangle where the rule fills and by none elsewhere (points within 1e-4 of
/// the extent from an edge are skipped). Returns the triangles' total area.
double CheckTriangleCover(const Outline& outline, kx::TriangulationFillRule rule,
                          const std::vector<Wm4::Vector2<float>>& triangles, const std::vector<unsigned int>& indices,
                          int samples);

/// Formats one number of a tree dump.
using NumberText = std::function<std::string(float)>;

/// The present rendering properties as " name=value" pairs, in the order of
/// the tree dump.
std::string DumpProperties(const kx::svg::RenderingProperties& properties, const NumberText& number = NumberText());

/// A tree as text, one item a line indented by depth: type, id, transform,
/// rendering properties and geometry. Numbers go through `number` (by default
/// 9 significant digits, no "-0"); without `withStyle` a style sheet shows
/// only as present. "(no tree)\n" for a null root.
std::string DumpTree(const kx::svg::ItemInterface* root, const NumberText& number = NumberText(),
                     bool withStyle = true);

/// What loading a text through the reader gave.
struct Loaded {
    bool ok = false;
    kx::svg::ItemInterfacePointer<kx::svg::ItemInterface> root;
    std::vector<std::string> messages; ///< "error: ..." and "warning: ...", in order
};

/// Loads `text` with the reader; `lenient` skips unsupported content with a warning.
Loaded LoadText(const std::string& text, bool lenient = false);

/// The corpus drawings (`corpusDir()` without its large/ benchmark inputs), sorted;
/// with KXSVG_CORPUS_SAMPLE=N about N of them, evenly spread. Empty without a corpus.
std::vector<std::string> corpusFiles();

/// A fresh directory under the system's temporary folder, removed with its
/// content when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return m_path; }
    /// `path()` + "/" + `name`.
    std::string file(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

/// Writes `content` to a file; returns false when it cannot be written.
bool writeFile(const std::string& path, const std::string& content);

/// True when golden files are to be rewritten from the current behaviour
/// (environment variable KXSVG_REGENERATE=1).
bool regenerateGolden();

/// Compares `actual` with the golden file at `path` (a test failure that names
/// the file when they differ or it is missing); with `regenerateGolden()` it
/// writes `actual` there instead.
void ExpectGolden(const std::string& actual, const std::string& path);

/// Sum of the (unsigned) areas of a primitive's fill triangles, in double
/// precision; -1 (and a test failure) when an index is out of range.
double FillArea(const kx::svg::SegmentedPrimitive& primitive);

/// Even-odd membership of (x, y) in a primitive's outline, each chain closed
/// from its last point back to its first as a fill closes open sub-paths.
/// Sets *nearEdge when the point lies on the outline (within rounding).
bool InsideOutline(const kx::svg::SegmentedPrimitive& primitive, double x, double y, bool* nearEdge);

/// How many fill triangles of a primitive hold (x, y) strictly inside, in
/// either orientation; sets *nearEdge when it lies on a triangle's side.
int TrianglesCovering(const kx::svg::SegmentedPrimitive& primitive, double x, double y, bool* nearEdge);

/// A byte source that writes `head`, `count` copies of `element`, then `tail`
/// as it is read, so that a huge input needs no huge buffer in the test.
class GeneratedDocument : public kxIoDevice {
public:
    GeneratedDocument(std::string head, std::string element, std::size_t count, std::string tail);
    int64_t readBytes(void* buffer, int64_t count) override;
    int64_t writeBytes(const void*, int64_t) override { return 0; }
    bool isEndOfData() const override { return m_part == 3 && m_offset == m_pending.size(); }

    int64_t produced = 0;       ///< bytes handed out so far
    int64_t largestRequest = 0; ///< the largest read asked for

private:
    std::string m_head, m_element, m_tail, m_pending;
    std::size_t m_remaining;
    std::size_t m_offset = 0;
    int m_part = 0; // 0 head pending, 1 elements, 2 tail given, 3 done
};

/// Captures log entries while alive and restores the default sink afterwards.
class LogCapture {
public:
    struct Entry {
        int level;
        std::string tag;
        std::string message;
    };
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    const std::vector<Entry>& entries() const { return m_entries; }
    std::vector<std::string> messages() const;
    void clear() { m_entries.clear(); }

private:
    std::vector<Entry> m_entries;
};

} // namespace kxtest

/// Skips the current test with a clear message when the corpus is absent.
#define KXTEST_REQUIRE_CORPUS(dirVar)                                                                  \
    const std::string dirVar = kxtest::corpusDir();                                                    \
    if (dirVar.empty()) GTEST_SKIP() << "SVG corpus not found (set KXSVG_CORPUS or place ../shared/corpus)"

#endif
