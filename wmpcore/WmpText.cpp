#include "WmpText.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <locale>
#include <sstream>

#include "WmpReport.h"

namespace wmpcore {

namespace {
// Default stream precision: the shorter of fixed and scientific, six digits.
constexpr int kFloatDigits = 6;
constexpr size_t kNumberBufSize = 64;
// Six digits print whole numbers below this in full, without an exponent.
constexpr float kWholeNumberLimit = 1e6f;
// Decimal digits that always make an integer a double holds exactly.
constexpr int kExactDigits = 15;
}  // namespace

std::vector<std::string> split2(const std::string& s, const std::string& separators) {
    std::vector<std::string> tokens;
    try {
        std::string::size_type pos = 0;
        while (pos < s.size()) {
            const auto begin = s.find_first_not_of(separators, pos);
            if (begin == std::string::npos) break;
            auto end = s.find_first_of(separators, begin);
            if (end == std::string::npos) end = s.size();
            tokens.emplace_back(s, begin, end - begin);
            pos = end;
        }
    } catch (const std::exception& e) {
        reportException("split2", e);
    } catch (...) {
        reportUnknownException();
    }
    return tokens;
}

void appendFloat(std::string& out, float f) {
    // Same characters as inserting the float into a classic-locale stream
    // (printf "%g" with six digits), without the cost of a stream per value.
    // Most levels are whole numbers of fewer than seven digits, which "%g"
    // writes as the integer (negative zero aside): they take the integer path.
    if (f > -kWholeNumberLimit && f < kWholeNumberLimit) {
        const int whole = static_cast<int>(f);
        if (static_cast<float>(whole) == f && (whole != 0 || !std::signbit(f))) {
            appendInt(out, whole);
            return;
        }
    }
    char buf[kNumberBufSize];
    const auto res = std::to_chars(buf, buf + sizeof(buf), f, std::chars_format::general, kFloatDigits);
    out.append(buf, res.ptr);
}

void appendInt(std::string& out, int i) {
    char buf[kNumberBufSize];
    const auto res = std::to_chars(buf, buf + sizeof(buf), i);
    out.append(buf, res.ptr);
}

std::string floatTostr(float f) {
    std::string s;
    appendFloat(s, f);
    return s;
}

std::string int2str(int i) {
    std::string s;
    appendInt(s, i);
    return s;
}

std::string char2str(char c) {
    std::stringstream ss;
    ss.imbue(std::locale::classic());
    ss << c;
    std::string word;
    ss >> word;
    return word;
}

std::string IntToStr(int i) {
    std::ostringstream os;
    os.imbue(std::locale::classic());
    os << i;
    return os.str();
}

float strToFloat(const std::string& s) {
    float f = 0.0f;
    std::istringstream is(s);
    is.imbue(std::locale::classic());
    is >> f;
    return f;
}

int parseInt(const char* s) {
    // atoi is strtol narrowed to int, without atoi's undefined overflow; with
    // the device's 64-bit long a large value wraps the same way everywhere.
    static_assert(sizeof(long) == 8, "strtol returns the device's 64-bit long");
    return static_cast<int>(std::strtol(s, nullptr, 10));
}

float parseFloat(const char* s) {
    // Most levels are short integers: read exactly, they give the double
    // strtod would, without its general machinery.
    const char* digit = *s == '-' ? s + 1 : s;
    uint64_t magnitude = 0;
    int digits = 0;
    for (; *digit >= '0' && *digit <= '9' && digits < kExactDigits; ++digit, ++digits) {
        magnitude = magnitude * 10 + static_cast<uint64_t>(*digit - '0');
    }
    if (digits > 0 && *digit == '\0') {
        const auto value = static_cast<double>(magnitude);
        return static_cast<float>(*s == '-' ? -value : value);
    }
    return static_cast<float>(std::strtod(s, nullptr));
}

int truncToInt(float f) {
    if (std::isnan(f)) return 0;
    if (f >= static_cast<float>(INT_MAX)) return INT_MAX;
    if (f <= static_cast<float>(INT_MIN)) return INT_MIN;
    return static_cast<int>(f);
}

}  // namespace wmpcore
