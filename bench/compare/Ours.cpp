// Ours.cpp - libkxSvg's side: the load from memory, the triangulation and the
// fill that resolves crossings, as the comparisons call them.
#include "Compare.h"

#include "read/LoadDocument.h"

#include <kx/svg/Options.h>
#include <kx/svg/Triangulate.h>
#include <kx/system/kxIoDevice.h>

namespace kxcompare {

using namespace kx::svg;

bool OurLoad(const std::string& bytes, ItemInterfacePointer<ItemInterface>& root)
{
    kxIoDeviceByteContainerReadOnly device(bytes.data(), bytes.size());
    LoadOptions options;
    options.ignoreUnsupported = true; // the large drawings use elements outside the subset
    return impl::LoadSvgDocument(root, device, options, nullptr, nullptr);
}

// Our triangulation; returns the filled area, or -1 when refused.
double OurTriangulate(const Polygon& poly, std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices)
{
    if (!kx::TriangulatePoly(poly.points, poly.fillEdges.empty() ? poly.edges : poly.fillEdges, outPoints, outIndices, kx::TriangulationFillRule::EvenOdd, true))
        return -1.0;
    return TrianglesArea(outPoints, outIndices);
}

double OurFill(const Polygon& poly, std::vector<Vec2>& outPoints, std::vector<unsigned int>& outIndices)
{
    if (!kx::TriangulateFill(poly.points, poly.fillEdges.empty() ? poly.edges : poly.fillEdges, outPoints, outIndices))
        return -1.0;
    return TrianglesArea(outPoints, outIndices);
}

} // namespace kxcompare
