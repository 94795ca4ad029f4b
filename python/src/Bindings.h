// Bindings.h - what the parts of the kxsvg Python module share.
//
// The module is split by job: items.cpp binds the item tree, segment.cpp the
// flattening and its NumPy arrays, module.cpp loading, saving, preflight,
// bounding boxes and the exceptions. Each part registers its names on the
// module through one Bind function.
#ifndef KXSVG_PYTHON_BINDINGS_H
#define KXSVG_PYTHON_BINDINGS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <kx/svg/Items.h>

#include <Wm4/Wm4Matrix3.h>

#include <string>
#include <vector>

namespace kxsvg_python {

namespace py = pybind11;

/// Registers Item, Group, Document, Line, Rect, Circle, Path, Text and Image.
void BindItems(py::module_& module);
/// Registers Primitive and segment().
void BindSegment(py::module_& module);

/// The element name of an item kind: "svg", "g", "line", ... ("unknown" past 7).
const char* KindName(kx::svg::ItemType type);

/// A 3x3 float32 array holding a copy of `matrix` (row-major, points are columns).
py::array_t<float> MatrixToArray(const Wm4::Matrix3<float>& matrix);
/// Reads a 3x3 array-like into a matrix; raises ValueError for any other shape.
Wm4::Matrix3<float> ArrayToMatrix(const py::handle& value);

/// Raises `kxsvg.LoadError` (or `kxsvg.SaveError` when `save` is true) whose
/// text is the messages joined by new lines and whose `messages` attribute
/// holds them as a list.
[[noreturn]] void RaiseError(bool save, const std::vector<std::string>& messages);

} // namespace kxsvg_python

#endif
