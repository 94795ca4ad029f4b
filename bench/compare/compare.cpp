// compare.cpp - runs libkxSvg and the tools users would pick instead on the
// same inputs, in one process, alternating between them round after round,
// and prints every figure with its goal and the ratios as Markdown.
//
//   kxsvg_compare [--rounds N] [--markdown FILE] [--corpus DIR] [--only AREA]
//
// Times are CPU times (the machine may be shared); each figure is the median
// of the rounds. Peak memory is that of a freshly started process (this
// program again) loading one file, less that of one that only reads it.
// Comparators that may run for very long (GLU on star shapes) run in a forked
// child with a time limit.
#include "read/LoadDocument.h"
#include "segment/SegmentationCommon.h"
#include "write/SaveDocument.h"

#include <kx/svg/Items.h>
#include <kx/svg/Options.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/svg/Triangulate.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>

#include "BenchSupport.h"

#include <libxml/parser.h>
#include <librsvg/rsvg.h>

#include <GL/glu.h>

#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Exact_predicates_inexact_constructions_kernel.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>

#include <poll.h>
#include <spawn.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <dirent.h>
#include <fstream>
#include <functional>
#include <list>
#include <locale.h>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

// ------------------------------------------------------------------ allocation count
// Every operator new of the process is counted, so a run can show that a
// phase allocates nothing once its buffers have grown.
static std::atomic<unsigned long long> gAllocations{0};

// These replace the global operators; pairing them with malloc/free is the point.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

void* operator new(std::size_t size)
{
    gAllocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return ::operator new(size); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }

namespace {

using Vec2 = Wm4::Vector2<float>;
using namespace kx::svg;

// ------------------------------------------------------------------ timing

double CpuSeconds()
{
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return double(ts.tv_sec) + 1e-9 * double(ts.tv_nsec);
}

double Median(std::vector<double> v)
{
    if (v.empty()) return 0.0;
    std::sort(v.begin(), v.end());
    const std::size_t n = v.size();
    return n % 2 ? v[n / 2] : 0.5 * (v[n / 2 - 1] + v[n / 2]);
}

long CurrentRssKb()
{
    std::ifstream statm("/proc/self/statm");
    long size = 0, resident = 0;
    statm >> size >> resident;
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

struct ChildResult {
    bool ok = false;
    bool timedOut = false;
    double seconds = 0.0; // CPU time of the work in the child
    double peakMb = 0.0;  // resident-set growth during the work
    double value = 0.0;   // what the work returned
};

// Runs `work` in a forked child; the child reports its CPU time, the growth
// of its peak resident set and the work's result through a pipe. A child
// still running after `timeoutSeconds` is killed.
ChildResult RunInChild(const std::function<double()>& work, int timeoutSeconds)
{
    ChildResult result;
    int fds[2];
    if (pipe(fds) != 0) return result;
    std::fflush(stdout);
    const pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        return result;
    }
    if (pid == 0) {
        close(fds[0]);
        const long baseKb = CurrentRssKb();
        const double start = CpuSeconds();
        const double value = work();
        const double seconds = CpuSeconds() - start;
        rusage usage;
        getrusage(RUSAGE_SELF, &usage);
        double message[3] = {seconds, double(usage.ru_maxrss - baseKb) / 1024.0, value};
        ssize_t written = write(fds[1], message, sizeof message);
        (void)written;
        _exit(0);
    }
    close(fds[1]);
    pollfd p{fds[0], POLLIN, 0};
    const int ready = poll(&p, 1, timeoutSeconds * 1000);
    double message[3] = {0, 0, 0};
    if (ready > 0 && read(fds[0], message, sizeof message) == ssize_t(sizeof message)) {
        result.ok = true;
        result.seconds = message[0];
        result.peakMb = message[1];
        result.value = message[2];
    } else {
        result.timedOut = ready == 0;
        kill(pid, SIGKILL);
    }
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return result;
}

// ------------------------------------------------------------------ report

struct Row {
    std::string area, figure, value, goal, verdict, note;
};
std::vector<Row> gRows;

std::string Fixed(double v, int decimals)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", decimals, v);
    return buf;
}

void AddRow(const std::string& area, const std::string& figure, const std::string& value, const std::string& goal,
            int verdict, const std::string& note = std::string())
{
    const char* verdicts[] = {"", "met", "NOT met"};
    gRows.push_back(Row{area, figure, value, goal, verdicts[verdict], note});
    std::printf("%-14s %-58s %14s  goal %-10s %-7s %s\n", area.c_str(), figure.c_str(), value.c_str(), goal.c_str(),
                verdicts[verdict], note.c_str());
    std::fflush(stdout);
}
int Verdict(bool met) { return met ? 1 : 2; }

// ------------------------------------------------------------------ inputs

struct LargeFile {
    std::string path;
    std::string name;
    std::string bytes;
};

std::vector<LargeFile> LoadLargeFiles()
{
    std::vector<LargeFile> files;
    for (const std::string& path : kxbench::largeFiles()) {
        LargeFile f;
        f.path = path;
        f.name = path.substr(path.find_last_of('/') + 1);
        if (kxbench::readFile(path, f.bytes)) files.push_back(std::move(f));
    }
    return files;
}

bool OurLoad(const std::string& bytes, ItemInterfacePointer<ItemInterface>& root)
{
    kxIoDeviceByteContainerReadOnly device(bytes.data(), bytes.size());
    LoadOptions options;
    options.ignoreUnsupported = true; // the large drawings use elements outside the subset
    return impl::LoadSvgDocument(root, device, options, nullptr, nullptr);
}

// libxml2's SAX parser with empty callbacks: the floor under any load.
void SaxNoOpStart(void*, const xmlChar*, const xmlChar*, const xmlChar*, int, const xmlChar**, int, int,
                  const xmlChar**)
{
}
void SaxNoOpEnd(void*, const xmlChar*, const xmlChar*, const xmlChar*) {}
void SaxNoOpCharacters(void*, const xmlChar*, int) {}

bool SaxEmptyParse(const std::string& bytes)
{
    xmlSAXHandler handler;
    std::memset(&handler, 0, sizeof handler);
    handler.initialized = XML_SAX2_MAGIC;
    handler.startElementNs = SaxNoOpStart;
    handler.endElementNs = SaxNoOpEnd;
    handler.characters = SaxNoOpCharacters;
    xmlParserCtxtPtr context = xmlCreatePushParserCtxt(&handler, nullptr, nullptr, 0, nullptr);
    if (!context) return false;
    xmlCtxtUseOptions(context, XML_PARSE_HUGE | XML_PARSE_NONET | XML_PARSE_NOENT);
    // The same 64 KiB blocks a stream reader would hand over.
    const std::size_t block = 65536;
    bool ok = true;
    for (std::size_t at = 0; at < bytes.size() && ok; at += block) {
        const std::size_t n = std::min(block, bytes.size() - at);
        ok = xmlParseChunk(context, bytes.data() + at, int(n), 0) == 0;
    }
    ok = ok && xmlParseChunk(context, nullptr, 0, 1) == 0 && context->wellFormed;
    xmlFreeParserCtxt(context);
    return ok;
}

bool RsvgLoad(const std::string& bytes)
{
    GInputStream* stream = g_memory_input_stream_new_from_data(bytes.data(), gssize(bytes.size()), nullptr);
    GError* error = nullptr;
    RsvgHandle* handle = rsvg_handle_new_from_stream_sync(stream, nullptr, RSVG_HANDLE_FLAG_UNLIMITED, nullptr, &error);
    g_object_unref(stream);
    if (error) g_error_free(error);
    if (!handle) return false;
    g_object_unref(handle);
    return true;
}

std::string gSelf; // this program, started again for memory figures

// Runs this program as `--child-load <tool> <file>` and returns the peak
// resident set of that process (MB), which it reads from its own
// /proc/self/status (VmHWM counts only the pages of the new program, unlike
// ru_maxrss, which keeps the peak of the process image before the exec).
double PeakRssOfChildLoad(const char* tool, const std::string& file)
{
    std::fflush(stdout);
    const std::string command = "'" + gSelf + "' --child-load " + tool + " '" + file + "'";
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return 0.0;
    double kb = 0.0;
    if (std::fscanf(pipe, "%lf", &kb) != 1) kb = 0.0;
    pclose(pipe);
    return kb / 1024.0;
}

double PeakRssOfThisProcessKb()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line))
        if (line.compare(0, 6, "VmHWM:") == 0) return std::atof(line.c_str() + 6);
    return 0.0;
}

int ChildLoad(const std::string& tool, const std::string& file)
{
    std::string bytes;
    if (!kxbench::readFile(file, bytes)) return 1;
    bool ok = true;
    if (tool == "ours") {
        ItemInterfacePointer<ItemInterface> root;
        ok = OurLoad(bytes, root);
    } else if (tool == "rsvg") {
        ok = RsvgLoad(bytes);
    }
    std::printf("%.0f\n", PeakRssOfThisProcessKb());
    return ok ? 0 : 1;
}

// Every ` d="..."` text of a file (a plain scan, no XML parser).
std::vector<std::string> ExtractPathData(const std::string& content)
{
    std::vector<std::string> out;
    for (std::size_t at = content.find(" d=\""); at != std::string::npos; at = content.find(" d=\"", at + 4)) {
        const std::size_t start = at + 4;
        const std::size_t end = content.find('"', start);
        if (end == std::string::npos) break;
        out.push_back(content.substr(start, end - start));
    }
    return out;
}

// Length of the number token at `p` (path-data number syntax), 0 when none.
std::size_t NumberToken(const char* p, const char* end)
{
    const char* s = p;
    if (s < end && (*s == '+' || *s == '-')) ++s;
    const char* digits = s;
    while (s < end && *s >= '0' && *s <= '9') ++s;
    bool any = s > digits;
    if (s < end && *s == '.') {
        const char* fraction = ++s;
        while (s < end && *s >= '0' && *s <= '9') ++s;
        any = any || s > fraction;
    }
    if (!any) return 0;
    if (s < end && (*s == 'e' || *s == 'E')) {
        const char* e = s + 1;
        if (e < end && (*e == '+' || *e == '-')) ++e;
        const char* exponentDigits = e;
        while (e < end && *e >= '0' && *e <= '9') ++e;
        if (e > exponentDigits) s = e;
    }
    return std::size_t(s - p);
}

// ------------------------------------------------------------------ polygons

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

    void prepare()
    {
        // Runs of chained pairs are rings. A run that does not come back to
        // its start is filled as if closed (what the segmenter does), so
        // the other tools get its end vertex and a closing edge too.
        ringCoords.clear();
        ringStarts.clear();
        cgalEdges.clear();
        std::size_t vertices = 0;
        auto addVertex = [&](unsigned int index) {
            const Vec2& p = points[index];
            ringCoords.push_back(double(p.X()));
            ringCoords.push_back(double(p.Y()));
            ringCoords.push_back(0.0);
            ++vertices;
        };
        // A run of three pairs or more whose end is within a thousandth of the
        // extent of its start is closed on its start vertex, as TriangulatePoly
        // closes it (the tolerance of contour clean-up), so all tools fill the
        // same outline.
        float minX = 0, maxX = 0, minY = 0, maxY = 0;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const Vec2& p = points[i];
            minX = i ? std::min(minX, p.X()) : p.X();
            maxX = i ? std::max(maxX, p.X()) : p.X();
            minY = i ? std::min(minY, p.Y()) : p.Y();
            maxY = i ? std::max(maxY, p.Y()) : p.Y();
        }
        const double tolX = 1e-3 * (double(maxX) - minX), tolY = 1e-3 * (double(maxY) - minY);
        std::size_t runStart = 0;
        auto closeRun = [&](std::size_t lastPair) {
            const unsigned int start = edges[runStart], end = edges[lastPair + 1];
            if (end == start || points[end] == points[start]) return;
            if (lastPair - runStart >= 4 && std::fabs(double(points[end].X()) - points[start].X()) < tolX &&
                std::fabs(double(points[end].Y()) - points[start].Y()) < tolY) {
                cgalEdges.back().second = start;
                return;
            }
            addVertex(end);
            cgalEdges.emplace_back(end, start);
        };
        for (std::size_t i = 0; i + 1 < edges.size(); i += 2) {
            if (i == 0 || edges[i] != edges[i - 1]) {
                if (i > 0) closeRun(i - 2);
                runStart = i;
                ringStarts.push_back(vertices);
            }
            addVertex(edges[i]);
            cgalEdges.emplace_back(edges[i], edges[i + 1]);
        }
        if (edges.size() >= 2) closeRun(edges.size() - 2);
        ringStarts.push_back(vertices);
        cgalPoints.clear();
        for (const Vec2& p : points) cgalPoints.emplace_back(double(p.X()), double(p.Y()));
    }
};

Polygon StarPolygon(std::size_t n)
{
    // Random radii between 100 and 1000 at evenly spaced angles (the same
    // shape as the triangulation benchmark's "Star").
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> radius(100.0, 1000.0);
    Polygon poly;
    poly.points.reserve(n);
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 2 * M_PI * double(i) / double(n);
        const double r = radius(rng);
        poly.points.emplace_back(float(r * std::cos(a)), float(r * std::sin(a)));
    }
    for (std::size_t i = 0; i < n; ++i) {
        poly.edges.push_back(unsigned(i));
        poly.edges.push_back(unsigned((i + 1) % n));
    }
    poly.prepare();
    return poly;
}

// The filled outlines of the corpus icons: every filled primitive of every
// icon of one icon set, segmented as the library segments them.
std::vector<Polygon> IconOutlines(const std::string& folder, std::size_t* icons)
{
    std::vector<Polygon> polygons;
    *icons = 0;
    std::vector<std::string> files;
    std::function<void(const std::string&)> walk = [&](const std::string& dir) {
        DIR* d = opendir(dir.c_str());
        if (!d) return;
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (name == "." || name == "..") continue;
            const std::string path = dir + "/" + name;
            if (e->d_type == DT_DIR) walk(path);
            else if (name.size() > 4 && name.compare(name.size() - 4, 4, ".svg") == 0) files.push_back(path);
        }
        closedir(d);
    };
    walk(folder);
    std::sort(files.begin(), files.end());
    for (const std::string& file : files) {
        std::string bytes;
        if (!kxbench::readFile(file, bytes)) continue;
        ItemInterfacePointer<ItemInterface> root;
        if (!OurLoad(bytes, root) || !root) continue;
        const Node* node = dynamic_cast<const Node*>(root.get());
        if (!node) continue;
        SegmenterVisitor visitor(*node);
        bool any = false;
        for (const auto& primitive : visitor.getSegmentedPrimitives()) {
            if (!primitive || !primitive->properties.hasFill() || primitive->lineIndices.size() < 6) continue;
            Polygon poly;
            poly.source = file.substr(folder.size() + 1);
            poly.points = primitive->points;
            poly.edges = primitive->lineIndices;
            kx::CleanupContour(poly.points, poly.edges);
            if (poly.edges.size() < 6) continue;
            if (!kx::svg::impl::CloseOpenChains(poly.points, poly.edges, poly.fillEdges)) poly.fillEdges.clear();
            poly.prepare();
            polygons.push_back(std::move(poly));
            any = true;
        }
        if (any) ++*icons;
    }
    return polygons;
}

double TriangleArea(const double* a, const double* b, const double* c)
{
    return 0.5 * std::fabs((b[0] - a[0]) * (c[1] - a[1]) - (c[0] - a[0]) * (b[1] - a[1]));
}

// The area of a triangulation's output.
double TrianglesArea(const std::vector<Vec2>& outPoints, const std::vector<unsigned int>& outIndices)
{
    double area = 0.0;
    for (std::size_t i = 0; i + 2 < outIndices.size(); i += 3) {
        const Vec2& a = outPoints[outIndices[i]];
        const Vec2& b = outPoints[outIndices[i + 1]];
        const Vec2& c = outPoints[outIndices[i + 2]];
        const double pa[2] = {a.X(), a.Y()}, pb[2] = {b.X(), b.Y()}, pc[2] = {c.X(), c.Y()};
        area += TriangleArea(pa, pb, pc);
    }
    return area;
}

// Our triangulation; returns the filled area, or -1 when refused.
double OurTriangulate(const Polygon& poly, std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices)
{
    if (!kx::TriangulatePoly(poly.points, poly.fillEdges.empty() ? poly.edges : poly.fillEdges, outPoints, outIndices, kx::TriangulationFillRule::EvenOdd, true))
        return -1.0;
    return TrianglesArea(outPoints, outIndices);
}

// GLU tessellator, odd winding, independent triangles.
struct GluSink {
    double area = 0.0;
    std::size_t triangles = 0;
    const double* corner[3] = {nullptr, nullptr, nullptr};
    int count = 0;
    bool error = false;
    std::deque<std::array<double, 3>> combined;
};

void GluBegin(GLenum, void* data) { static_cast<GluSink*>(data)->count = 0; }
void GluVertex(void* vertex, void* data)
{
    GluSink* sink = static_cast<GluSink*>(data);
    sink->corner[sink->count++] = static_cast<const double*>(vertex);
    if (sink->count == 3) {
        sink->area += TriangleArea(sink->corner[0], sink->corner[1], sink->corner[2]);
        ++sink->triangles;
        sink->count = 0;
    }
}
void GluEnd(void*) {}
void GluEdgeFlag(GLboolean, void*) {}
void GluCombine(GLdouble coords[3], void*[4], GLfloat[4], void** out, void* data)
{
    GluSink* sink = static_cast<GluSink*>(data);
    sink->combined.push_back({coords[0], coords[1], coords[2]});
    *out = sink->combined.back().data();
}
void GluError(GLenum, void* data) { static_cast<GluSink*>(data)->error = true; }

struct GluTess {
    GLUtesselator* tess = gluNewTess();
    GluTess()
    {
        gluTessProperty(tess, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
        gluTessNormal(tess, 0.0, 0.0, 1.0);
        gluTessCallback(tess, GLU_TESS_BEGIN_DATA, reinterpret_cast<_GLUfuncptr>(GluBegin));
        gluTessCallback(tess, GLU_TESS_VERTEX_DATA, reinterpret_cast<_GLUfuncptr>(GluVertex));
        gluTessCallback(tess, GLU_TESS_END_DATA, reinterpret_cast<_GLUfuncptr>(GluEnd));
        gluTessCallback(tess, GLU_TESS_EDGE_FLAG_DATA, reinterpret_cast<_GLUfuncptr>(GluEdgeFlag));
        gluTessCallback(tess, GLU_TESS_COMBINE_DATA, reinterpret_cast<_GLUfuncptr>(GluCombine));
        gluTessCallback(tess, GLU_TESS_ERROR_DATA, reinterpret_cast<_GLUfuncptr>(GluError));
    }
    ~GluTess() { gluDeleteTess(tess); }
    GluTess(const GluTess&) = delete;
    GluTess& operator=(const GluTess&) = delete;
};

double GluTriangulate(GluTess& glu, const Polygon& poly)
{
    GluSink sink;
    double* coords = const_cast<double*>(poly.ringCoords.data());
    gluTessBeginPolygon(glu.tess, &sink);
    for (std::size_t r = 0; r + 1 < poly.ringStarts.size(); ++r) {
        gluTessBeginContour(glu.tess);
        for (std::size_t v = poly.ringStarts[r]; v < poly.ringStarts[r + 1]; ++v)
            gluTessVertex(glu.tess, coords + 3 * v, coords + 3 * v);
        gluTessEndContour(glu.tess);
    }
    gluTessEndPolygon(glu.tess);
    return sink.error ? -1.0 : sink.area;
}

// CGAL's constrained Delaunay triangulation; faces inside by even-odd nesting.
struct FaceNesting {
    int level = -1;
};
using Kernel = CGAL::Epick;
using VertexBase = CGAL::Triangulation_vertex_base_2<Kernel>;
using FaceInfoBase = CGAL::Triangulation_face_base_with_info_2<FaceNesting, Kernel>;
using FaceBase = CGAL::Constrained_triangulation_face_base_2<Kernel, FaceInfoBase>;
using Tds = CGAL::Triangulation_data_structure_2<VertexBase, FaceBase>;
using Cdt = CGAL::Constrained_Delaunay_triangulation_2<Kernel, Tds, CGAL::Exact_predicates_tag>;

double CgalTriangulate(const Polygon& poly)
{
    Cdt cdt;
    cdt.insert_constraints(poly.cgalPoints.begin(), poly.cgalPoints.end(), poly.cgalEdges.begin(),
                           poly.cgalEdges.end());
    // Flood the faces region by region: crossing a constrained edge goes one
    // level deeper; odd levels are inside.
    std::deque<Cdt::Face_handle> regions;
    std::vector<Cdt::Face_handle> stack;
    regions.push_back(cdt.infinite_face());
    cdt.infinite_face()->info().level = 0;
    while (!regions.empty()) {
        Cdt::Face_handle seed = regions.front();
        regions.pop_front();
        const int level = seed->info().level;
        stack.assign(1, seed);
        while (!stack.empty()) {
            Cdt::Face_handle face = stack.back();
            stack.pop_back();
            for (int i = 0; i < 3; ++i) {
                Cdt::Face_handle next = face->neighbor(i);
                if (next->info().level != -1) continue;
                if (cdt.is_constrained(Cdt::Edge(face, i))) {
                    next->info().level = level + 1;
                    regions.push_back(next);
                } else {
                    next->info().level = level;
                    stack.push_back(next);
                }
            }
        }
    }
    double area = 0.0;
    for (Cdt::Finite_faces_iterator f = cdt.finite_faces_begin(); f != cdt.finite_faces_end(); ++f) {
        if (f->info().level % 2 != 1) continue;
        const auto& a = f->vertex(0)->point();
        const auto& b = f->vertex(1)->point();
        const auto& c = f->vertex(2)->point();
        const double pa[2] = {a.x(), a.y()}, pb[2] = {b.x(), b.y()}, pc[2] = {c.x(), c.y()};
        area += TriangleArea(pa, pb, pc);
    }
    return area;
}

bool SameArea(double a, double b) { return std::fabs(a - b) <= 1e-5 * std::max(std::fabs(a), std::fabs(b)) + 1e-9; }

// ------------------------------------------------------------------ sections

int gRounds = 5;

void CompareLoad(const std::vector<LargeFile>& files)
{
    std::printf("\n== load (%d rounds) ==\n", gRounds);
    double totalBytes = 0;
    std::vector<double> oursTotal(gRounds, 0.0), saxTotal(gRounds, 0.0), rsvgTotal(gRounds, 0.0);
    bool rsvgFailed = false;
    for (const LargeFile& f : files) {
        totalBytes += double(f.bytes.size());
        std::vector<double> ours, sax, rsvg;
        for (int r = 0; r < gRounds; ++r) {
            double t = CpuSeconds();
            SaxEmptyParse(f.bytes);
            sax.push_back(CpuSeconds() - t);
            t = CpuSeconds();
            {
                ItemInterfacePointer<ItemInterface> root;
                OurLoad(f.bytes, root);
            }
            ours.push_back(CpuSeconds() - t);
            t = CpuSeconds();
            if (!RsvgLoad(f.bytes)) rsvgFailed = true;
            rsvg.push_back(CpuSeconds() - t);
            oursTotal[r] += ours.back();
            saxTotal[r] += sax.back();
            rsvgTotal[r] += rsvg.back();
        }
        const double mb = double(f.bytes.size()) / 1e6;
        const double o = mb / Median(ours), s = mb / Median(sax), v = mb / Median(rsvg);
        AddRow("load", f.name + ": libkxSvg (MB/s)", Fixed(o, 1), ">= 80", Verdict(o >= 80));
        AddRow("load", f.name + ": libxml2 SAX, empty callbacks (MB/s)", Fixed(s, 1), "", 0,
               "ours at " + Fixed(100.0 * o / s, 0) + "% of the floor");
        AddRow("load", f.name + ": librsvg (MB/s)", Fixed(v, 1), "", 0, "");
        AddRow("load", f.name + ": libkxSvg / librsvg", Fixed(o / v, 2) + "x", ">= 6x", Verdict(o / v >= 6));
    }
    const double mb = totalBytes / 1e6;
    const double o = mb / Median(oursTotal), s = mb / Median(saxTotal), v = mb / Median(rsvgTotal);
    AddRow("load", "all large files: libkxSvg (MB/s)", Fixed(o, 1), ">= 80", Verdict(o >= 80));
    AddRow("load", "all large files: libxml2 SAX, empty callbacks (MB/s)", Fixed(s, 1), "", 0);
    AddRow("load", "all large files: librsvg (MB/s)", Fixed(v, 1), "", 0, rsvgFailed ? "librsvg refused a file" : "");
    AddRow("load", "all large files: libkxSvg / librsvg", Fixed(o / v, 2) + "x", ">= 6x", Verdict(o / v >= 6));

    // Peak memory: each load alone in a freshly started process (this
    // program again), against a process that only reads the file.
    for (const LargeFile& f : files) {
        std::vector<double> ours, rsvg;
        for (int r = 0; r < std::min(gRounds, 3); ++r) {
            const double base = PeakRssOfChildLoad("none", f.path);
            ours.push_back(PeakRssOfChildLoad("ours", f.path) - base);
            rsvg.push_back(PeakRssOfChildLoad("rsvg", f.path) - base);
        }
        const double o = Median(ours), v = Median(rsvg);
        AddRow("load memory", f.name + ": peak memory libkxSvg / librsvg (MB)", Fixed(o, 1) + " / " + Fixed(v, 1),
               "below", Verdict(o < v),
               "over reading the " + Fixed(double(f.bytes.size()) / 1e6, 1) + " MB file; ratio " + Fixed(o / v, 2));
    }
}

void CompareNumbers(const std::vector<LargeFile>& files)
{
    std::printf("\n== path numbers ==\n");
    std::vector<std::string> paths;
    for (const LargeFile& f : files)
        for (std::string& d : ExtractPathData(f.bytes)) paths.push_back(std::move(d));
    // Number tokens, each NUL-terminated for strtof_l.
    std::string tokenText;
    std::vector<std::pair<std::size_t, std::size_t>> tokens;
    for (const std::string& d : paths) {
        const char* p = d.data();
        const char* end = p + d.size();
        while (p < end) {
            const std::size_t n = NumberToken(p, end);
            if (n == 0) {
                ++p;
                continue;
            }
            tokens.emplace_back(tokenText.size(), n);
            tokenText.append(p, n);
            tokenText.push_back('\0');
            p += n;
        }
    }
    locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
    std::vector<double> tStrtof, tScan, tFull, tFastFloat;
    std::size_t scanned = 0;
    std::size_t parsedPaths = 0;
    float sink = 0;
    for (int r = 0; r < gRounds; ++r) {
        double t = CpuSeconds();
        for (const auto& tk : tokens) sink += strtof_l(tokenText.data() + tk.first, nullptr, cLocale);
        tStrtof.push_back(CpuSeconds() - t);

        // The scanner as the reader runs it: numbers handed over per command.
        std::size_t numbers = 0;
        t = CpuSeconds();
        for (const std::string& d : paths) {
            PathVisitorStrToTokens scanner(d, [&](char, std::vector<float>&& values) { numbers += values.size(); });
            try {
                scanner.visit();
            } catch (...) {
            }
        }
        tScan.push_back(CpuSeconds() - t);
        scanned = numbers;

        // The whole conversion into commands.
        std::size_t ok = 0;
        t = CpuSeconds();
        for (const std::string& d : paths) {
            std::list<Path::Command> commands;
            try {
                if (ConvertPathStringToCommands(d, commands, nullptr)) ++ok;
            } catch (...) {
            }
        }
        tFull.push_back(CpuSeconds() - t);
        parsedPaths = ok;
    }
    freelocale(cLocale);
    const double count = double(tokens.size());
    const double strtofRate = count / Median(tStrtof) / 1e6;
    const double scanRate = double(scanned) / Median(tScan) / 1e6;
    const double fullRate = double(scanned) / Median(tFull) / 1e6;
    AddRow("path numbers", "path-data scanner (M numbers/s)", Fixed(scanRate, 1), ">= 40", Verdict(scanRate >= 40),
           Fixed(double(scanned) / 1e6, 2) + " M numbers in " + std::to_string(paths.size()) + " paths");
    AddRow("path numbers", "scanner + command list (M numbers/s)", Fixed(fullRate, 1), "", 0,
           std::to_string(parsedPaths) + " paths valid");
    AddRow("path numbers", "strtof_l alone on the same tokens (M numbers/s)", Fixed(strtofRate, 1), "", 0,
           "scanner at " + Fixed(scanRate / strtofRate, 2) + "x strtof_l" + (sink == 1.2345f ? " " : ""));
}

void CompareSave(const std::vector<LargeFile>& files)
{
    std::printf("\n== save ==\n");
    double totalOut = 0;
    std::vector<double> total(gRounds, 0.0);
    for (const LargeFile& f : files) {
        ItemInterfacePointer<ItemInterface> root;
        if (!OurLoad(f.bytes, root) || !root) continue;
        std::string saved;
        std::vector<double> times;
        for (int r = 0; r < gRounds; ++r) {
            saved.clear();
            const double t = CpuSeconds();
            kxIoDeviceByteContainerWriteOnly device(saved);
            impl::SaveSvgDocument(*root, device, SaveOptions());
            times.push_back(CpuSeconds() - t);
            total[r] += times.back();
        }
        totalOut += double(saved.size());
        const double rate = double(saved.size()) / 1e6 / Median(times);
        AddRow("save", f.name + ": output (MB/s)", Fixed(rate, 1), ">= 60", Verdict(rate >= 60),
               Fixed(double(saved.size()) / 1e6, 1) + " MB written");
    }
    const double rate = totalOut / 1e6 / Median(total);
    AddRow("save", "all large files: output (MB/s)", Fixed(rate, 1), ">= 60", Verdict(rate >= 60));
}

void CompareFlattening()
{
    std::printf("\n== flattening ==\n");
    std::mt19937 random(12345);
    std::uniform_real_distribution<float> coordinate(-100.0f, 100.0f);
    std::vector<std::unique_ptr<Wm4::BezierCurve2<float>>> curves;
    for (int i = 0; i < 20000; ++i) {
        Vec2* control = new Vec2[4];
        for (int k = 0; k < 4; ++k) control[k] = Vec2(coordinate(random), coordinate(random));
        curves.emplace_back(new Wm4::BezierCurve2<float>(3, control));
    }
    SegmentationUtils::BezierSegmentationWorkspace workspace;
    SegmentedPrimitive out;
    // As the segmenter flattens path cubics: at most 32 leaves, split while
    // chord / polygon < 0.999.
    std::vector<double> times;
    unsigned long long allocations = 0;
    std::size_t points = 0;
    for (int r = 0; r < gRounds + 1; ++r) {
        out.points.clear();
        out.lineIndices.clear();
        const unsigned long long before = gAllocations.load();
        const double t = CpuSeconds();
        for (const auto& curve : curves)
            SegmentationUtils::DeCasteljauSegmentBezier(workspace, *curve, out, true, 32, -0.999f);
        const double elapsed = CpuSeconds() - t;
        const unsigned long long after = gAllocations.load();
        if (r == 0) continue; // the first pass grows the workspace and the outline
        times.push_back(elapsed);
        allocations += after - before;
        points = out.points.size();
    }
    const double rate = double(points) / Median(times) / 1e6;
    AddRow("flattening", "random cubics, 32 leaves at most (M points/s)", Fixed(rate, 1), ">= 20", Verdict(rate >= 20),
           std::to_string(points / curves.size()) + " points per curve");
    AddRow("flattening", "heap allocations after the first pass", std::to_string(allocations), "0",
           Verdict(allocations == 0),
           "over " + std::to_string(curves.size() * times.size()) + " curves");
}

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
                        return GluTriangulate(tess, star);
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
        for (std::size_t i = 0; i < outlines.size(); ++i) gluAreas[i] = GluTriangulate(tess, outlines[i]);
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

// The fill of crossing outlines against GLU (odd winding, which adds the
// crossing vertices through its combine callback) on star polygons {n/k},
// overlapping rings and self-crossing zig-zags; and what resolving costs on
// outlines that do not cross (the fill first tries the plain triangulation).
double OurFill(const Polygon& poly, std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices)
{
    if (!kx::TriangulateFill(poly.points, poly.fillEdges.empty() ? poly.edges : poly.fillEdges, outPoints, outIndices))
        return -1.0;
    return TrianglesArea(outPoints, outIndices);
}

Polygon ClosedRings(const std::vector<std::vector<Vec2>>& rings)
{
    Polygon poly;
    for (const std::vector<Vec2>& ring : rings) {
        const unsigned int base = unsigned(poly.points.size());
        poly.points.insert(poly.points.end(), ring.begin(), ring.end());
        for (std::size_t i = 0; i < ring.size(); ++i) {
            poly.edges.push_back(base + unsigned(i));
            poly.edges.push_back(base + unsigned((i + 1) % ring.size()));
        }
    }
    poly.prepare();
    return poly;
}

std::vector<Vec2> Circle(std::size_t n, double cx, double cy, double r)
{
    std::vector<Vec2> ring;
    for (std::size_t i = 0; i < n; ++i) {
        const double a = 2 * M_PI * double(i) / double(n);
        ring.emplace_back(float(cx + r * std::cos(a)), float(cy + r * std::sin(a)));
    }
    return ring;
}

void CompareCrossings()
{
    std::printf("\n== triangulation: crossing outlines ==\n");
    std::vector<Vec2> outPoints;
    std::vector<unsigned int> outIndices;
    struct Case {
        std::string name;
        Polygon poly;
    };
    std::vector<Case> cases;
    for (const auto& nk : {std::pair<std::size_t, std::size_t>{20001, 5}, {2001, 50}}) {
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
                    return GluTriangulate(tess, c.poly);
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

void WriteMarkdown(const std::string& path)
{
    std::ofstream out(path);
    out << "| Area | Figure | Measured | Goal | Verdict | Note |\n";
    out << "|---|---|---:|---|---|---|\n";
    for (const Row& row : gRows)
        out << "| " << row.area << " | " << row.figure << " | " << row.value << " | " << row.goal << " | " << row.verdict
            << " | " << row.note << " |\n";
}

} // namespace

int main(int argc, char** argv)
{
    gSelf = "/proc/self/exe";
    {
        char buffer[4096];
        const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
        if (n > 0) gSelf.assign(buffer, std::size_t(n));
    }
    if (argc == 4 && std::string(argv[1]) == "--child-load") {
        xmlInitParser();
        return ChildLoad(argv[2], argv[3]);
    }
    std::string markdown;
    std::string corpus = kxbench::corpusDir(); // icon outlines; the large files come from kxbench
    std::string only;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--rounds" && i + 1 < argc) gRounds = std::max(1, std::atoi(argv[++i]));
        else if (arg == "--markdown" && i + 1 < argc) markdown = argv[++i];
        else if (arg == "--corpus" && i + 1 < argc) {
            corpus = argv[++i];
            setenv("KXSVG_CORPUS", corpus.c_str(), 1); // the large files are looked up there too
        }
        else if (arg == "--only" && i + 1 < argc) only = argv[++i];
        else {
            std::fprintf(stderr, "usage: %s [--rounds N] [--markdown FILE] [--corpus DIR] [--only load|numbers|save|flatten|star|icons|crossings|triangulate]\n", argv[0]);
            return 2;
        }
    }
    xmlInitParser();
    kxLog::setSink([](int, const std::string&, const std::string&) {});
    const std::vector<LargeFile> files = LoadLargeFiles();
    if (files.empty())
        std::printf("no large files found (corpus \"%s\"; set KXSVG_CORPUS or --corpus): load, numbers and save "
                    "skipped\n",
                    corpus.c_str());
    auto wanted = [&](const char* area) { return only.empty() || only == area; };
    if (wanted("load") && !files.empty()) CompareLoad(files);
    if (wanted("numbers") && !files.empty()) CompareNumbers(files);
    if (wanted("save") && !files.empty()) CompareSave(files);
    if (wanted("flatten")) CompareFlattening();
    if (wanted("triangulate") || wanted("star")) CompareStars();
    if (wanted("triangulate") || wanted("icons")) CompareIcons(corpus);
    if (wanted("triangulate") || wanted("crossings")) CompareCrossings();
    if (!markdown.empty()) WriteMarkdown(markdown);
    return 0;
}
