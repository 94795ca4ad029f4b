// Glu.cpp - the GLU tessellator: odd winding, independent triangles, the
// crossing vertices added through the combine callback; the filled area.
#include "Compare.h"

#include <GL/glu.h>

#include <array>
#include <deque>

namespace kxcompare {
namespace {

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

} // namespace

GluTess::GluTess()
    : m_tess(gluNewTess())
{
    gluTessProperty(m_tess, GLU_TESS_WINDING_RULE, GLU_TESS_WINDING_ODD);
    gluTessNormal(m_tess, 0.0, 0.0, 1.0);
    gluTessCallback(m_tess, GLU_TESS_BEGIN_DATA, reinterpret_cast<_GLUfuncptr>(GluBegin));
    gluTessCallback(m_tess, GLU_TESS_VERTEX_DATA, reinterpret_cast<_GLUfuncptr>(GluVertex));
    gluTessCallback(m_tess, GLU_TESS_END_DATA, reinterpret_cast<_GLUfuncptr>(GluEnd));
    gluTessCallback(m_tess, GLU_TESS_EDGE_FLAG_DATA, reinterpret_cast<_GLUfuncptr>(GluEdgeFlag));
    gluTessCallback(m_tess, GLU_TESS_COMBINE_DATA, reinterpret_cast<_GLUfuncptr>(GluCombine));
    gluTessCallback(m_tess, GLU_TESS_ERROR_DATA, reinterpret_cast<_GLUfuncptr>(GluError));
}

GluTess::~GluTess() { gluDeleteTess(m_tess); }

double GluTess::triangulate(const Polygon& poly)
{
    GluSink sink;
    double* coords = const_cast<double*>(poly.ringCoords.data());
    gluTessBeginPolygon(m_tess, &sink);
    for (std::size_t r = 0; r + 1 < poly.ringStarts.size(); ++r) {
        gluTessBeginContour(m_tess);
        for (std::size_t v = poly.ringStarts[r]; v < poly.ringStarts[r + 1]; ++v)
            gluTessVertex(m_tess, coords + 3 * v, coords + 3 * v);
        gluTessEndContour(m_tess);
    }
    gluTessEndPolygon(m_tess);
    return sink.error ? -1.0 : sink.area;
}

} // namespace kxcompare
