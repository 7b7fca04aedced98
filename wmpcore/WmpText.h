#pragma once

#include <string>
#include <vector>

namespace wmpcore {

// Splits `s` at any character of `separators` (a set, not a substring).
// Runs of separators count as one and no token is ever empty.
[[nodiscard]] std::vector<std::string> split2(const std::string& s, const std::string& separators);

// Number <-> text conversions in the classic locale, as the Java side reads
// and writes them.
[[nodiscard]] std::string floatTostr(float f);
[[nodiscard]] std::string int2str(int i);
[[nodiscard]] std::string char2str(char c);
[[nodiscard]] std::string IntToStr(int i);
[[nodiscard]] float strToFloat(const std::string& s);

// Appending forms of floatTostr and int2str for the text writers; they give
// exactly the same characters without a temporary string per number.
void appendFloat(std::string& out, float f);
void appendInt(std::string& out, int i);

// C conversions of the core: atoi and atof (narrowed to float).
[[nodiscard]] int parseInt(const char* s);
[[nodiscard]] float parseFloat(const char* s);
[[nodiscard]] inline int parseInt(const std::string& s) { return parseInt(s.c_str()); }
[[nodiscard]] inline float parseFloat(const std::string& s) { return parseFloat(s.c_str()); }

// Float to int truncation toward zero that saturates at the int range and
// maps NaN to 0, as the device's conversion instruction does; plain casts of
// out-of-range values are undefined.
[[nodiscard]] int truncToInt(float f);

}  // namespace wmpcore
