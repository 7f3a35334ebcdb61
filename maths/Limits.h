#pragma once

#include <limits>

namespace Corvane::Pellix::Sarvetta {

/// The largest finite single-precision value, 3.4028234663852886e38. Empty
/// boxes, "no value yet" keys and the range checks of the file readers use it
/// in every instantiation, double ones included: a double mesh's empty box
/// spans plus and minus this value, not the double range.
constexpr double LargestFloat = std::numeric_limits<float>::max();

}  // namespace Corvane::Pellix::Sarvetta
