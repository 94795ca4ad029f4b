// NumberFormat.h - the writer's number text, formatted into a caller's buffer.
#ifndef KX_SVG_WRITE_NUMBERFORMAT_H
#define KX_SVG_WRITE_NUMBERFORMAT_H

#include <cstddef>
#include <climits>
#include <cstdint>

namespace kx {
namespace svg {
namespace impl {

/// A float widened to double has at most 149 decimal digits after the point,
/// so larger precisions only append zeros that the trimming removes again.
constexpr int kMaxUsefulPrecision = 149;
/// Room for a sign, the 39 integer digits of the largest float, the point and the digits.
constexpr std::size_t kNumberBufferSize = 1 + 39 + 1 + kMaxUsefulPrecision + 16;

/// The `floatPrecision` that asks for the shortest text reading back as the
/// same float instead of a fixed number of digits (set by `SaveTextOptions`).
constexpr int32_t kShortestRoundTripPrecision = INT32_MIN;

/// Writes the text of `Helpers::floatToSvgNumber` into `buffer` (at least
/// kNumberBufferSize bytes, not NUL-terminated) and returns its length.
std::size_t FormatSvgNumber(char* buffer, float value, int32_t floatPrecision);

} // namespace impl
} // namespace svg
} // namespace kx

#endif
