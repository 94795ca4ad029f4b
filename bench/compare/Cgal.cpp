// Cgal.cpp - CGAL's constrained Delaunay triangulation (exact predicates),
// faces marked inside by even-odd nesting of the constrained edges.
#include "Compare.h"

#include <CGAL/Constrained_Delaunay_triangulation_2.h>
#include <CGAL/Triangulation_face_base_with_info_2.h>

#include <deque>

namespace kxcompare {
namespace {

struct FaceNesting {
    int level = -1;
};
using Kernel = CGAL::Epick;
using VertexBase = CGAL::Triangulation_vertex_base_2<Kernel>;
using FaceInfoBase = CGAL::Triangulation_face_base_with_info_2<FaceNesting, Kernel>;
using FaceBase = CGAL::Constrained_triangulation_face_base_2<Kernel, FaceInfoBase>;
using Tds = CGAL::Triangulation_data_structure_2<VertexBase, FaceBase>;
using Cdt = CGAL::Constrained_Delaunay_triangulation_2<Kernel, Tds, CGAL::Exact_predicates_tag>;

} // namespace

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

} // namespace kxcompare
