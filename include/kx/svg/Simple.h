// Simple.h - one-call loading, saving, preflight, segmentation and tree walks.
//
// A thin layer over the IO manager, the segmenter and the item tree: free
// functions that take values and return values saying what happened. The
// first call of any function here initialises the library (it is terminated
// at exit), so none of them needs `initializeKxSvg()` first; callers that
// still bracket their own work with `initializeKxSvg()` / `terminateKxSvg()`
// are unaffected, as the calls nest. Nothing here throws for bad input.
// Loads and saves may run on several threads at once: each call runs a
// driver of its own, so messages never mix.
//
//     auto loaded = kx::svg::LoadFile("drawing.svg");
//     for (const auto& message : loaded.messages) std::cerr << message << "\n";
//     if (loaded) std::cout << kx::svg::SaveString(*loaded.document).text;
#ifndef KX_SVG_SIMPLE_H
#define KX_SVG_SIMPLE_H

#include <kx/svg/Export.h>
#include <kx/svg/Items.h>
#include <kx/svg/Options.h>
#include <kx/svg/Preflight.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/SegmentationOptions.h>
#include <kx/svg/SegmentedPrimitive.h>

#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kx {
namespace svg {

// ------------------------------------------------------------------ loading

/// Decompressed ".svgz" content larger than this (256 MiB) is refused.
constexpr std::uint64_t kMaxDecompressedSvgBytes = 256ull << 20;

/// What a load produced. `document` is set exactly when the load succeeded;
/// `messages` holds every error and warning in order, on success too.
struct KXSVG_API LoadResult {
    std::shared_ptr<Document> document;
    std::vector<std::string> messages;

    /// True when `document` is set.
    explicit operator bool() const { return document != nullptr; }
};

/// Loads SVG bytes: plain text (UTF-8 with or without a byte-order mark, or
/// any encoding its XML declaration names) or gzip-compressed (".svgz"
/// content). Content that cannot be read gives one message and no document:
/// "Data is empty", "Data is not an SVG file: its content does not start with
/// '<'", "Data is gzip-compressed but ends before its compressed data does",
/// "Data is gzip-compressed but cannot be decompressed ({reason})", "Data
/// expands to more than 268435456 bytes when decompressed; it is refused".
/// Otherwise the messages are the reader's.
KXSVG_API LoadResult LoadBytes(std::string_view bytes, const LoadOptions& options = LoadOptions());

/// Loads the file at `path` as `LoadBytes` does, whatever the file is called
/// ("a.svg", "a.SVG", "a.svgz", "a", "a.txt"); its messages name it "File
/// '{path}'" where those of `LoadBytes` say "Data". A file that cannot be read
/// gives "Cannot read '{path}'".
KXSVG_API LoadResult LoadFile(const std::string& path, const LoadOptions& options = LoadOptions());

// ------------------------------------------------------------------ preflight

/// What a preflight pass produced: the rewritten SVG text in `text`, every
/// change in `report`. `ok` is false, with `text` empty, when the input could
/// not be read or rewritten; `messages` then says why.
struct KXSVG_API PreflightResult {
    bool ok = false;
    std::string text;
    PreflightReport report;
    std::vector<std::string> messages;

    explicit operator bool() const { return ok; }
};

/// Rewrites SVG bytes (plain or gzip-compressed) into the subset the strict
/// reader accepts (see `PreflightSvg`).
KXSVG_API PreflightResult PreflightBytes(std::string_view bytes,
                                         const PreflightOptions& options = PreflightOptions());

/// Reads the file at `path` (whatever its name) and rewrites it as `PreflightBytes` does.
KXSVG_API PreflightResult PreflightFile(const std::string& path,
                                        const PreflightOptions& options = PreflightOptions());

// ------------------------------------------------------------------ saving

/// How `SaveFile` and `SaveString` write.
struct KXSVG_API SaveTextOptions {
    /// The writer's own options, defaults included (6 digits after the point,
    /// "Exporter" and "Datetime" comments).
    SaveOptions save;
    /// Write every number as the shortest text that reads back as the same
    /// float ("330.2", not "330.200012"); `save.floatPrecision` is then not used.
    bool shortestNumbers = false;
};

/// What a save produced. `text` holds the SVG text for `SaveString` (empty
/// for `SaveFile`); `messages` the writer's messages.
struct KXSVG_API SaveResult {
    bool ok = false;
    std::string text;
    std::vector<std::string> messages;

    explicit operator bool() const { return ok; }
};

/// Writes `item` and its subtree as an SVG document to `path`, whatever its
/// name. A file already there is replaced only when the whole save succeeded.
KXSVG_API SaveResult SaveFile(const ItemInterface& item, const std::string& path,
                              const SaveTextOptions& options = SaveTextOptions());

/// Writes `item` and its subtree as an SVG document into `SaveResult::text`.
KXSVG_API SaveResult SaveString(const ItemInterface& item, const SaveTextOptions& options = SaveTextOptions());

// ------------------------------------------------------------------ walking and segmenting

/// Called for every item below a group, parents before children, with the
/// product of the transforms from the walked group down to the item (its own
/// included) and its presentation attributes completed from its ancestors
/// (for a group: the attributes its children inherit). Return false to skip
/// a group's children (ignored for other items).
using ItemCallback =
    std::function<bool(const ItemInterface& item, const Wm4::Matrix3<float>& worldTransform,
                       const RenderingProperties& cascadedProperties)>;

/// Visits every item below `node` (not `node` itself, whose own transform and
/// attributes apply to all of them), in document order. Deep trees are walked
/// without deep recursion; a group met again inside itself is skipped.
KXSVG_API void ForEachItem(const Node& node, const ItemCallback& callback);

/// One flattened item, in the coordinates of the segmented group.
struct KXSVG_API SegmentedItem {
    /// Outline, triangles and cascaded attributes; `primitive.fillFailed`
    /// tells whether a wanted fill could not be built.
    SegmentedPrimitive primitive;
    /// The item it came from; valid while the tree lives and is not changed.
    const ItemInterface* item = nullptr;
    /// The item's world transform (already applied to the points).
    Wm4::Matrix3<float> worldTransform = Wm4::Matrix3<float>::IDENTITY;
};

/// Every primitive of a segmentation, and how many fills failed.
struct KXSVG_API SegmentResult {
    std::vector<SegmentedItem> items;
    /// Items whose fill could not be built (their outline is still there).
    std::size_t failedFills = 0;

    /// True when every wanted fill was built.
    explicit operator bool() const { return failedFills == 0; }
};

/// Flattens every line, rectangle, circle and path below `node` into one
/// primitive each, in document order. With the default `realSvg()` preset a
/// fill that fails is counted and flagged, and segmentation goes on; with
/// `stopAtFirstFailedFill` it ends after that item.
KXSVG_API SegmentResult Segment(const Node& node,
                                const SegmentationOptions& options = SegmentationOptions::realSvg());

/// Area covered by the primitive's fill triangles (the sum of their absolute
/// areas, in squared document units); 0 for an outline without a fill.
KXSVG_API double FillArea(const SegmentedPrimitive& primitive);

// ------------------------------------------------------------------ transforms

/// Matrices in the item tree's convention: row-major, points are columns
/// (x' = m(0,0) x + m(0,1) y + m(0,2)), computed as the reader computes the
/// same "transform" operations. Angles are in degrees.
KXSVG_API Wm4::Matrix3<float> TranslateMatrix(float tx, float ty);
KXSVG_API Wm4::Matrix3<float> ScaleMatrix(float sx, float sy);
/// Rotation about the origin; positive angles turn the x axis towards the y axis.
KXSVG_API Wm4::Matrix3<float> RotateMatrix(float degrees);
/// Rotation about the point (cx, cy).
KXSVG_API Wm4::Matrix3<float> RotateMatrix(float degrees, float cx, float cy);
KXSVG_API Wm4::Matrix3<float> SkewXMatrix(float degrees);
KXSVG_API Wm4::Matrix3<float> SkewYMatrix(float degrees);
/// `first` applied after `second`: Multiply(a, b) maps p to a(b(p)).
KXSVG_API Wm4::Matrix3<float> Multiply(const Wm4::Matrix3<float>& first, const Wm4::Matrix3<float>& second);
/// The inverse of an affine matrix into `inverse`; false (and `inverse`
/// unchanged) when it has none or the result is not finite.
KXSVG_API bool Invert(const Wm4::Matrix3<float>& matrix, Wm4::Matrix3<float>& inverse);
/// The point mapped by the affine matrix.
KXSVG_API Wm4::Vector2<float> Apply(const Wm4::Matrix3<float>& matrix, const Wm4::Vector2<float>& point);

// ------------------------------------------------------------------ trees and path data

/// True when two trees hold the same items with the same fields, in the same
/// order. Numbers compare with `==` (so NaN equals nothing). Deep trees are
/// compared without deep recursion.
KXSVG_API bool TreesEqual(const ItemInterface& a, const ItemInterface& b);

/// The path data ("d" text) of `commands` as the writer writes it, with
/// `options.floatPrecision` and `options.formatOutput`.
KXSVG_API std::string PathDataText(const Path::Commands& commands, const SaveOptions& options = SaveOptions());

/// Path data read into commands, or where and why it is malformed.
struct KXSVG_API PathDataResult {
    bool ok = false;
    /// The commands read; on failure, those before the fault.
    Path::Commands commands;
    /// Byte offset of the fault from the start of the text (when `ok` is false).
    std::size_t errorPosition = 0;
    /// The reader's message for the fault (when `ok` is false).
    std::string errorMessage;

    explicit operator bool() const { return ok; }
};

/// Reads path data with the reader's grammar (see `PathVisitorStrToTokens`).
KXSVG_API PathDataResult ParsePathData(std::string_view text);

} // namespace svg
} // namespace kx

#endif
