// Preflight.h - rewrite arbitrary SVG into the subset the strict reader accepts.
#ifndef KX_SVG_PREFLIGHT_H
#define KX_SVG_PREFLIGHT_H

#include <kx/svg/Export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace kx {
namespace svg {

/// Choices of a preflight pass.
struct KXSVG_API PreflightOptions {
    /// Keep "id" attributes (true) or drop them all (false). Copies made for inlined
    /// references never keep their ids, so that ids stay unique.
    bool keepIds = true;
    /// Keep "class" attributes; style-sheet rules are applied either way.
    bool keepClasses = true;
    /// Paint the reader cannot express (gradients, patterns) becomes a plain colour
    /// reported as an approximation (true), or "none" (false).
    bool approximatePaint = true;
    /// The library fills paths even-odd and cannot fill a path whose outlines
    /// cross; drawings made of overlapping pieces (filled as a union under SVG's
    /// default non-zero rule) are common. With this on, a filled path with
    /// several sub-paths whose fill would fail becomes a group of paths that
    /// each fill, reported as an approximation. It costs one flattening and
    /// triangulation of every filled path with several sub-paths.
    bool splitCrossingSubpaths = true;
    /// Draw fills as their "fill-rule" says (non-zero unless "evenodd" is
    /// cascaded) although the library fills even-odd, so that the output draws
    /// what the source draws. A filled path whose non-zero fill differs from
    /// its even-odd fill is rewritten: when no sub-path crosses itself or
    /// another (sub-paths nested in the same direction), the sub-paths inside
    /// the region are left out of the fill and the others keep their values
    /// (reported as rewritten); otherwise it is written as the boundary of its
    /// non-zero region (flattened, coordinates rounded to float, reported as an
    /// approximation). A stroked path keeps its outline in a second,
    /// stroke-only path. Paths whose fill is the same under both rules keep
    /// their data. Off, "fill-rule" is dropped and every fill is drawn
    /// even-odd. It costs one flattening and two boundary computations of every
    /// filled path.
    bool honorFillRule = true;
    /// How deep references to other elements ("use") may nest before they are dropped.
    int maxReferenceDepth = 16;
    /// Upper bound on the elements copied by inlining references; a reference that
    /// would go beyond it is dropped and reported.
    std::size_t maxInlinedElements = 200000;
};

/// What a report entry says happened.
enum class PreflightChange : int {
    Rewritten = 0,    ///< expressed differently with the same meaning
    Approximated = 1, ///< replaced by something close to it
    Dropped = 2,      ///< removed from the document
    Failed = 3        ///< the input could not be processed (malformed XML, no "svg" root...)
};

/// Text of a change kind: "rewritten", "approximated", "dropped" or "failed".
KXSVG_API const char* PreflightChangeName(PreflightChange change);

/// One kind of change with how often it happened.
struct KXSVG_API PreflightEntry {
    PreflightChange change = PreflightChange::Rewritten;
    std::string detail; ///< what changed, e.g. "element \"title\""
    std::uint32_t count = 0;
};

/// Every change of one preflight pass, grouped by kind and detail and counted.
class KXSVG_API PreflightReport {
public:
    /// Counts one more (or `count` more) change of this kind and detail.
    void add(PreflightChange change, const std::string& detail, std::uint32_t count = 1);
    /// Entries ordered by kind (rewritten, approximated, dropped, failed), then by first occurrence.
    std::vector<PreflightEntry> getEntries() const;
    /// Sum of the counts of the entries of one kind.
    std::uint32_t total(PreflightChange change) const;
    /// Count of one entry, 0 when absent.
    std::uint32_t count(PreflightChange change, const std::string& detail) const;
    bool empty() const { return m_entries.empty(); }
    void clear() { m_entries.clear(); }
    /// One line per entry, "{kind}: {detail} x{count}", in the order of getEntries().
    std::string toText() const;

private:
    std::vector<PreflightEntry> m_entries; // in first-occurrence order
};

/// Reads `input` (any SVG document, any encoding libxml2 knows) and writes into
/// `output` an equivalent complete SVG text (UTF-8) that the strict reader
/// accepts, adding every change to `report`. Never reads files or the network
/// (external entities and DTDs are not loaded). Returns false, with a "failed"
/// entry and `output` empty, when the input is not well-formed XML or has no
/// "svg" root. Never throws for bad input.
KXSVG_API bool PreflightSvg(const std::string& input, const PreflightOptions& options, std::string& output,
                            PreflightReport& report);

} // namespace svg
} // namespace kx

#endif
