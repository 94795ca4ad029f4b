// module.cpp - the kxsvg Python module: loading, saving, preflight, boxes.
//
// Bad input never raises anything but kxsvg.LoadError / kxsvg.SaveError,
// which carry every message of the library. The GIL is released while the
// library reads, writes or rewrites, so threads load in parallel.
#include "Bindings.h"

#include <kx/svg/Library.h>
#include <kx/svg/Simple.h>

#include <pybind11/stl.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace kxsvg_python {

using namespace kx::svg;

namespace {

// The module's exception types; they live as long as the interpreter, so
// they are held as plain references that no destructor releases.
PyObject* g_loadError = nullptr;
PyObject* g_saveError = nullptr;

/// Where bytes to read come from: the content itself, or a file.
struct Source {
    py::object keepAlive;   // the bytes object `content` points into
    std::string_view content;
    std::string copied;     // content of a mutable buffer, copied once
    std::optional<std::string> path;
};

Source ReadSource(const py::object& value)
{
    Source source;
    if (py::isinstance<py::bytes>(value)) {
        char* data = nullptr;
        Py_ssize_t size = 0;
        PyBytes_AsStringAndSize(value.ptr(), &data, &size);
        source.keepAlive = value;
        source.content = std::string_view(data, static_cast<std::size_t>(size));
    } else if (PyObject_CheckBuffer(value.ptr()) && !py::isinstance<py::str>(value)) {
        // bytearray, memoryview...: may change while the GIL is released, so copied.
        py::buffer_info info = py::reinterpret_borrow<py::buffer>(value).request();
        source.copied.assign(static_cast<const char*>(info.ptr), static_cast<std::size_t>(info.size * info.itemsize));
        source.content = source.copied;
    } else {
        source.path = py::module_::import("os").attr("fspath")(value).cast<std::string>();
    }
    return source;
}

py::list ReportList(const PreflightReport& report)
{
    py::list list;
    for (const PreflightEntry& entry : report.getEntries())
        list.append(py::make_tuple(PreflightChangeName(entry.change), entry.detail, entry.count));
    return list;
}

PreflightResult RunPreflight(const Source& source, const PreflightOptions& options)
{
    py::gil_scoped_release release;
    return source.path ? PreflightFile(*source.path, options) : PreflightBytes(source.content, options);
}

} // namespace

void RaiseError(bool save, const std::vector<std::string>& messages)
{
    std::string text;
    for (const std::string& message : messages) text += (text.empty() ? "" : "\n") + message;
    if (text.empty()) text = save ? "Save failed" : "Load failed";
    py::handle type = save ? g_saveError : g_loadError;
    py::object error = type(text);
    error.attr("messages") = py::cast(messages);
    PyErr_SetObject(type.ptr(), error.ptr());
    throw py::error_already_set();
}

py::array_t<float> MatrixToArray(const Wm4::Matrix3<float>& matrix)
{
    py::array_t<float> array({3, 3});
    auto view = array.mutable_unchecked<2>();
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col) view(row, col) = matrix(row, col);
    return array;
}

Wm4::Matrix3<float> ArrayToMatrix(const py::handle& value)
{
    auto array = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(value);
    if (!array || array.ndim() != 2 || array.shape(0) != 3 || array.shape(1) != 3)
        throw py::value_error("a transform must be a 3x3 array of numbers");
    auto view = array.unchecked<2>();
    Wm4::Matrix3<float> matrix;
    for (int row = 0; row < 3; ++row)
        for (int col = 0; col < 3; ++col) matrix(row, col) = view(row, col);
    return matrix;
}

} // namespace kxsvg_python

using namespace kxsvg_python;

PYBIND11_MODULE(kxsvg, m)
{
    m.doc() = R"(kxsvg - load, edit, save and flatten SVG drawings with libkxSvg.

    doc = kxsvg.load("drawing.svg")            # or bytes; raises kxsvg.LoadError
    for primitive in kxsvg.segment(doc):
        primitive.points, primitive.triangle_indices  # NumPy arrays, no copy
    text = kxsvg.save(doc, pretty=True)

load, save, preflight and segment release the GIL, so threads run them in
parallel. The library is started when the module is imported.)";
    m.attr("__version__") = KXSVG_PYTHON_VERSION;

    initializeKxSvg();
    py::module_::import("atexit").attr("register")(py::cpp_function([]() { terminateKxSvg(); }));

    py::object errorBase = py::reinterpret_steal<py::object>(
        PyErr_NewExceptionWithDoc("kxsvg.Error", "Base of the errors of kxsvg; `messages` lists every message.",
                                  PyExc_ValueError, nullptr));
    g_loadError = PyErr_NewExceptionWithDoc(
        "kxsvg.LoadError", "A load or preflight failed; `messages` lists every message of the library, in order.",
        errorBase.ptr(), nullptr);
    g_saveError = PyErr_NewExceptionWithDoc(
        "kxsvg.SaveError", "A save failed; `messages` lists every message of the writer, in order.", errorBase.ptr(),
        nullptr);
    if (!g_loadError || !g_saveError) throw py::error_already_set();
    m.attr("Error") = errorBase;
    m.attr("LoadError") = py::handle(g_loadError);
    m.attr("SaveError") = py::handle(g_saveError);

    BindItems(m);
    BindSegment(m);

    m.def(
        "load",
        [](const py::object& source, bool strict, bool preflight) {
            const Source input = ReadSource(source);
            LoadOptions options;
            options.ignoreUnsupported = !strict;
            py::object report = py::none();
            LoadResult loaded;
            if (preflight) {
                PreflightResult rewritten = RunPreflight(input, PreflightOptions());
                if (!rewritten) RaiseError(false, rewritten.messages);
                report = ReportList(rewritten.report);
                py::gil_scoped_release release;
                loaded = LoadBytes(rewritten.text, options);
            } else {
                py::gil_scoped_release release;
                loaded = input.path ? LoadFile(*input.path, options) : LoadBytes(input.content, options);
            }
            if (!loaded) RaiseError(false, loaded.messages);
            py::object document = py::cast(loaded.document);
            document.attr("messages") = py::cast(loaded.messages);
            document.attr("preflight_report") = report;
            return document;
        },
        py::arg("source"), py::arg("strict") = true, py::arg("preflight") = false,
        R"(Loads a drawing and returns its Document.

source
    bytes (plain or gzip-compressed SVG), or a file path (str or os.PathLike;
    any name, '.svgz' content is decompressed).
strict
    True: the first unsupported element or attribute fails the load.
    False: unsupported content is skipped, each with a warning.
preflight
    First rewrite the input into the subset the strict reader accepts (see
    preflight()); the document's `preflight_report` then lists the changes.

The document's `messages` holds the warnings. A failed load raises
kxsvg.LoadError whose `messages` holds every message, in order.)");

    m.def(
        "save",
        [](const std::shared_ptr<ItemInterface>& item, const py::object& path, bool pretty, const py::object& precision,
           const std::string& author, bool comments) -> py::object {
            if (!item) throw py::type_error("save() needs an item, not None");
            SaveTextOptions options;
            options.save.formatOutput = pretty;
            options.save.author = author;
            options.save.writeFlag = comments;
            if (py::isinstance<py::str>(precision)) {
                if (precision.cast<std::string>() != "shortest")
                    throw py::value_error("precision must be None, an int from 0 to 9 or 'shortest'");
                options.shortestNumbers = true;
            } else if (!precision.is_none()) {
                const int digits = precision.cast<int>();
                if (digits < 0 || digits > 9)
                    throw py::value_error("precision must be None, an int from 0 to 9 or 'shortest'");
                options.save.floatPrecision = digits;
            }
            std::optional<std::string> file;
            if (!path.is_none()) file = py::module_::import("os").attr("fspath")(path).cast<std::string>();
            SaveResult saved;
            {
                py::gil_scoped_release release;
                saved = file ? SaveFile(*item, *file, options) : SaveString(*item, options);
            }
            if (!saved) RaiseError(true, saved.messages);
            if (file) return py::none();
            return py::str(saved.text);
        },
        py::arg("item"), py::arg("path") = py::none(), py::arg("pretty") = false, py::arg("precision") = py::none(),
        py::arg("author") = "", py::arg("comments") = true,
        R"(Writes `item` (usually a Document) and its subtree as SVG.

path       None: return the text; otherwise write that file (replaced only
           when the whole save succeeded) and return None.
pretty     indented output, spaces between path-data tokens.
precision  None: 6 digits after the point; an int 0-9; 'shortest': the
           shortest text that reads back as the same float ('330.2').
author     when not empty, written as an 'Author : ...' comment.
comments   write the 'Exporter' and 'Datetime' comments (False for
           reproducible output).

A failed save raises kxsvg.SaveError with the writer's messages.)");

    m.def(
        "preflight",
        [](const py::object& source, bool keepIds, bool keepClasses, bool approximatePaint,
           bool splitCrossingSubpaths) {
            const Source input = ReadSource(source);
            PreflightOptions options;
            options.keepIds = keepIds;
            options.keepClasses = keepClasses;
            options.approximatePaint = approximatePaint;
            options.splitCrossingSubpaths = splitCrossingSubpaths;
            PreflightResult result = RunPreflight(input, options);
            if (!result) RaiseError(false, result.messages);
            return py::make_tuple(py::str(result.text), ReportList(result.report));
        },
        py::arg("source"), py::arg("keep_ids") = true, py::arg("keep_classes") = true,
        py::arg("approximate_paint") = true, py::arg("split_crossing_subpaths") = true,
        R"(Rewrites any SVG (bytes or a file path) into the subset the strict reader
accepts. Returns (text, report): the SVG text, and the changes as a list of
(kind, detail, count) with kind 'rewritten', 'approximated', 'dropped' or
'failed'. Input that cannot be rewritten raises kxsvg.LoadError.)");

    m.def(
        "bounding_box",
        [](const std::shared_ptr<ItemInterface>& item, bool includeStroke, bool estimated) -> py::object {
            if (!item) throw py::type_error("bounding_box() needs an item, not None");
            BoundingBox box;
            bool measured = false;
            {
                py::gil_scoped_release release;
                if (estimated) {
                    ComputeEstimatedBoundingBox(*item, box, nullptr, nullptr);
                    measured = box.isValid();
                } else {
                    TightBoxOptions options;
                    options.includeStroke = includeStroke;
                    TightBoxResult result = ComputeTightBoundingBox(*item, nullptr, nullptr, options);
                    box = result.box;
                    measured = result.measuredItems > 0 && box.isValid();
                }
            }
            if (!measured) return py::none();
            return py::make_tuple(box.getMinPoint().X(), box.getMinPoint().Y(), box.getMaxPoint().X(),
                                  box.getMaxPoint().Y());
        },
        py::arg("item"), py::arg("include_stroke") = false, py::arg("estimated") = false,
        R"(The extent of `item` and its subtree as (min_x, min_y, max_x, max_y) in the
coordinates of the item's parent (its own transform applied), or None when
nothing in it has a known extent (texts and images are not measured).

include_stroke  widen stroked items by their stroke (conservatively).
estimated       the library's quick estimate instead of the exact extent.)");
}
