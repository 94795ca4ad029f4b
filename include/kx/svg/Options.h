// Options.h - per-call options of loading and saving.
#ifndef KX_SVG_OPTIONS_H
#define KX_SVG_OPTIONS_H

#include <kx/svg/Export.h>

#include <cstdint>
#include <string>

namespace kx {
namespace svg {

/// How a load treats content outside the supported subset.
struct KXSVG_API LoadOptions {
    /// false (default): the first unsupported element or attribute is an error and the load fails.
    /// true: unsupported elements and attributes are skipped, each with a warning.
    bool ignoreUnsupported = false;
};

/// How a save lays out its output.
struct KXSVG_API SaveOptions {
    /// When not empty, written as the comment "Author : {author}" at the head.
    std::string author;
    /// Digits after the decimal point of every number written; negative means 6,
    /// except INT32_MIN, which asks for the shortest text that reads back as
    /// the same float (what `SaveTextOptions::shortestNumbers` sets).
    int32_t floatPrecision = -1;
    /// Indented output, and spaces between every token of path data.
    bool formatOutput = false;
    /// Write the "Exporter : …" and "Datetime : …" comments after the XML declaration.
    bool writeFlag = true;
};

} // namespace svg
} // namespace kx

#endif
