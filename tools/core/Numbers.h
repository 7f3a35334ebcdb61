#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Corvane::Pellix::Quorvel::Tool {

// Locale-independent parsing of a whole token: trailing characters make the
// token invalid. A leading '+' is accepted. "inf" and "nan" parse (callers
// reject non-finite values with their own, more precise message).
bool ParseReal(std::string_view token, double& value);
bool ParseInteger(std::string_view token, std::int64_t& value);

// Shortest text that reads back to exactly the same double.
std::string FormatReal(double value);
// Shortest text that reads back to exactly the same float.
std::string FormatFloat(float value);

// Fixed-width human formatting for tables: significant digits, not decimals.
std::string FormatQuantity(double value, int digits = 6);
std::string FormatCount(std::uint64_t value);

}  // namespace Corvane::Pellix::Quorvel::Tool
