// Common.h - what every kxsvg subcommand shares: input, loading, output, frames.
#ifndef KXSVG_TOOL_COMMON_H
#define KXSVG_TOOL_COMMON_H

#include <kx/svg/Svg.h>

#include <list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kxsvg {

/// Exit statuses of the tool.
enum ExitStatus { ExitOk = 0, ExitFailed = 1, ExitUsage = 2 };

/// A problem with the command line itself (exit status 2).
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Keeps the library initialised for the lifetime of the tool.
class LibraryScope {
public:
    LibraryScope() { kx::svg::initializeKxSvg(); }
    ~LibraryScope() { kx::svg::terminateKxSvg(); }
    LibraryScope(const LibraryScope&) = delete;
    LibraryScope& operator=(const LibraryScope&) = delete;
};

/// Reads a whole file, or standard input for "-". Returns false with `error` set.
bool readInput(const std::string& path, std::string& bytes, std::string& error);
/// Writes bytes to a file, or standard output for "-". Returns false with `error` set.
bool writeOutput(const std::string& path, const std::string& bytes, std::string& error);

/// A drawing loaded through the library's device interface.
struct LoadedDrawing {
    kx::svg::ItemInterfacePointer<kx::svg::ItemInterface> root;
    std::list<std::string> messages;
    bool loaded = false;
};

/// Loads SVG bytes, plain or gzip-compressed, whatever the file name says (strict: unsupported content fails the load).
/// With `preflight` the bytes are first rewritten into the strict subset; a failed
/// rewrite gives loaded false with the rewrite's messages.
LoadedDrawing loadDrawing(const std::string& bytes, bool strict, bool preflight = false);

/// Reads and loads one file; a file that cannot be read gives loaded false and one message.
LoadedDrawing loadFile(const std::string& path, bool strict, bool preflight = false);

/// The area to show: the document's valid view box, else the tight box of the content
/// with its strokes (the ink box).
/// Returns false when neither gives a box with a positive width and height.
bool drawingFrame(const kx::svg::ItemInterface& root, kx::svg::BoundingBox& frame);

/// The root as a group the segmenter can walk: the root itself when it is a group,
/// else a new group holding it.
std::shared_ptr<const kx::svg::Node> asGroup(const kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root);

/// The segmentation flags of a subcommand as given on the command line;
/// absent values leave the starting options alone.
struct SegmentationFlags {
    bool libraryDefaults = false; ///< start from the library's defaults instead of the real-SVG preset
    bool noResolveCrossings = false;
    bool stopAtFirstFailure = false;
    bool noCleanup = false;
    std::optional<kx::TriangulationFillRule> fillRule;
    std::optional<unsigned int> bezierLeaves;
    std::optional<float> bezierTolerance;
    std::optional<unsigned int> arcPieces;
    std::optional<unsigned int> circlePieces;
    bool strokeMesh = false;
    bool strokeNonOverlapping = false;
    std::optional<float> strokeTolerance;
};

/// Adds --fill-rule, --no-resolve-crossings, --stop-at-first-failure,
/// --no-cleanup, --bezier-leaves, --bezier-tolerance, --arc-pieces,
/// --circle-pieces, --stroke-mesh, --stroke-non-overlapping, --stroke-tolerance
/// and --library-defaults to `command`, writing into `flags`.
void addSegmentationFlags(CLI::App& command, SegmentationFlags& flags);

/// The options the flags choose: `SegmentationOptions::realSvg()`, or the
/// default options with --library-defaults, then every other flag given.
kx::svg::SegmentationOptions segmentationOptions(const SegmentationFlags& flags);

/// Flattens a drawing and counts the fills that could not be triangulated.
/// Percentages in dash arrays are taken of the drawing's frame (view box or
/// ink box) unless `options` already gives their length.
struct Flattened {
    std::list<std::shared_ptr<kx::svg::SegmentedPrimitive>> primitives;
    bool hasError = false;
    int fillFailures = 0;
};
Flattened flatten(const kx::svg::ItemInterfacePointer<kx::svg::ItemInterface>& root,
                  const kx::svg::SegmentationOptions& options);

/// Shortest text that reads back as the same float, in the classic locale.
std::string formatNumber(float value);

/// Lower-cased extension of a path, without the dot ("" when none).
std::string lowerExtension(const std::string& path);

} // namespace kxsvg

#endif
