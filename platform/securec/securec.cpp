// Host build of the platform's bounds-checked memory and scanning functions.

#include "securec.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

constexpr errno_t kEinval = EINVAL;
constexpr errno_t kErange = ERANGE;
constexpr errno_t kEoverlap = 54;  // the library's own "buffers overlap" code
// Longest numeric field collected before conversion (digits of a 64-bit value,
// sign and prefix fit easily).
constexpr size_t kMaxNumberField = 64;

bool overlaps(const void* a, const void* b, size_t n) {
    auto pa = reinterpret_cast<uintptr_t>(a);
    auto pb = reinterpret_cast<uintptr_t>(b);
    return (pa < pb) ? (pb - pa < n) : (pa - pb < n);
}

enum class Length { kNone, kChar, kShort, kLong, kLongLong, kSize, kMax };

struct Directive {
    bool suppress = false;
    size_t width = 0;  // 0: no width given
    Length length = Length::kNone;
    char conversion = 0;
};

// Reads the directive after '%'; returns the position after it, or null when
// the directive is malformed.
const char* parseDirective(const char* f, Directive* d) {
    if (*f == '*') {
        d->suppress = true;
        ++f;
    }
    while (isdigit(static_cast<unsigned char>(*f))) {
        d->width = d->width * 10 + static_cast<size_t>(*f - '0');
        ++f;
    }
    switch (*f) {
        case 'h':
            ++f;
            d->length = (*f == 'h') ? (++f, Length::kChar) : Length::kShort;
            break;
        case 'l':
            ++f;
            d->length = (*f == 'l') ? (++f, Length::kLongLong) : Length::kLong;
            break;
        case 'L':
        case 'q':
            ++f;
            d->length = Length::kLongLong;
            break;
        case 'z':
            ++f;
            d->length = Length::kSize;
            break;
        case 'j':
            ++f;
            d->length = Length::kMax;
            break;
        default:
            break;
    }
    if (*f == '\0') return nullptr;
    d->conversion = *f;
    return f + 1;
}

// The C library's white space in the "C" locale, without a locale lookup.
inline bool isSpace(unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

inline int digitValue(unsigned char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 99;
}

struct Integer {
    unsigned long long magnitude = 0;
    bool negative = false;
    bool overflow = false;
};

// Reads an integer of `base` (0: by prefix) from at most `limit` characters
// of `s`, as strtoull would, straight from the input. Returns the characters
// consumed, 0 when there are no digits. A bare "0x" reads as 0, as the C
// library's scanf does.
size_t scanInteger(const char* s, size_t limit, int base, Integer* out) {
    size_t n = 0;
    if (n < limit && (s[n] == '+' || s[n] == '-')) {
        out->negative = s[n] == '-';
        ++n;
    }
    if ((base == 16 || base == 0) && n + 1 < limit && s[n] == '0' && (s[n + 1] == 'x' || s[n + 1] == 'X')) {
        n += 2;
        base = 16;
        if (n >= limit || digitValue(static_cast<unsigned char>(s[n])) >= 16) return n;
    } else if (base == 0) {
        base = (n < limit && s[n] == '0') ? 8 : 10;
    }
    const size_t first = n;
    const unsigned long long base64 = static_cast<unsigned long long>(base);
    while (n < limit) {
        int d = digitValue(static_cast<unsigned char>(s[n]));
        if (d >= base) break;
        unsigned long long digit = static_cast<unsigned long long>(d);
        if (out->magnitude > (ULLONG_MAX - digit) / base64) out->overflow = true;
        out->magnitude = out->magnitude * base64 + digit;
        ++n;
    }
    return n == first ? 0 : n;
}

unsigned long long toUnsigned(const Integer& v) {
    if (v.overflow) return ULLONG_MAX;
    return v.negative ? 0ULL - v.magnitude : v.magnitude;
}

long long toSigned(const Integer& v) {
    constexpr unsigned long long kMaxPositive = static_cast<unsigned long long>(LLONG_MAX);
    if (!v.negative) return (v.overflow || v.magnitude > kMaxPositive) ? LLONG_MAX : static_cast<long long>(v.magnitude);
    if (v.overflow || v.magnitude > kMaxPositive + 1) return LLONG_MIN;
    return static_cast<long long>(0ULL - v.magnitude);
}

const char* skipSpace(const char* s) {
    while (isSpace(static_cast<unsigned char>(*s))) ++s;
    return s;
}

void storeSigned(va_list* ap, Length length, long long v) {
    switch (length) {
        case Length::kChar: *va_arg(*ap, signed char*) = static_cast<signed char>(v); break;
        case Length::kShort: *va_arg(*ap, short*) = static_cast<short>(v); break;
        case Length::kLong: *va_arg(*ap, long*) = static_cast<long>(v); break;
        case Length::kLongLong: *va_arg(*ap, long long*) = v; break;
        case Length::kSize: *va_arg(*ap, ssize_t*) = static_cast<ssize_t>(v); break;
        case Length::kMax: *va_arg(*ap, intmax_t*) = static_cast<intmax_t>(v); break;
        case Length::kNone: *va_arg(*ap, int*) = static_cast<int>(v); break;
    }
}

void storeUnsigned(va_list* ap, Length length, unsigned long long v) {
    switch (length) {
        case Length::kChar: *va_arg(*ap, unsigned char*) = static_cast<unsigned char>(v); break;
        case Length::kShort: *va_arg(*ap, unsigned short*) = static_cast<unsigned short>(v); break;
        case Length::kLong: *va_arg(*ap, unsigned long*) = static_cast<unsigned long>(v); break;
        case Length::kLongLong: *va_arg(*ap, unsigned long long*) = v; break;
        case Length::kSize: *va_arg(*ap, size_t*) = static_cast<size_t>(v); break;
        case Length::kMax: *va_arg(*ap, uintmax_t*) = static_cast<uintmax_t>(v); break;
        case Length::kNone: *va_arg(*ap, unsigned*) = static_cast<unsigned>(v); break;
    }
}

// Copies the numeric field at `s` (at most `width` characters) into `field`
// so strtoll and friends cannot read past the directive's width.
size_t collectNumber(const char* s, size_t width, bool hexDigits, bool allowDot, char* field) {
    size_t limit = (width == 0 || width > kMaxNumberField - 1) ? kMaxNumberField - 1 : width;
    size_t n = 0;
    auto take = [&](bool ok) {
        if (ok && n < limit) {
            field[n] = s[n];
            ++n;
            return true;
        }
        return false;
    };
    take(s[0] == '+' || s[0] == '-');
    if (hexDigits && s[n] == '0' && (s[n + 1] == 'x' || s[n + 1] == 'X') && n + 2 <= limit) {
        take(true);
        take(true);
    }
    while (true) {
        unsigned char c = static_cast<unsigned char>(s[n]);
        bool digit = hexDigits ? isxdigit(c) : isdigit(c);
        bool extra = allowDot && (c == '.' || c == 'e' || c == 'E' ||
                                  ((c == '+' || c == '-') && n > 0 && (s[n - 1] == 'e' || s[n - 1] == 'E')));
        if (!take(digit || extra)) break;
    }
    field[n] = '\0';
    return n;
}

int scan(const char* in, const char* f, va_list* ap) {
    const char* s = in;
    int assigned = 0;
    bool anyInput = false;  // distinguishes input failure (-1) from a mismatch
    while (*f != '\0') {
        if (isSpace(static_cast<unsigned char>(*f))) {
            f = skipSpace(f);
            s = skipSpace(s);
            continue;
        }
        if (*f != '%' || f[1] == '%') {
            if (*f == '%') ++f;
            if (*s == '\0') return anyInput || assigned ? assigned : -1;
            if (*s != *f) return assigned;
            ++s;
            ++f;
            anyInput = true;
            continue;
        }
        Directive dir;
        f = parseDirective(f + 1, &dir);
        if (f == nullptr) return assigned;
        char conv = dir.conversion;
        if (conv == 'n') {
            if (!dir.suppress) storeSigned(ap, dir.length, s - in);
            continue;
        }
        if (conv != 'c' && conv != '[') s = skipSpace(s);
        if (*s == '\0') return anyInput || assigned ? assigned : -1;
        anyInput = true;

        switch (conv) {
            case 'd': case 'i': case 'u': case 'x': case 'X': case 'o': {
                int base = (conv == 'd' || conv == 'u') ? 10 : (conv == 'o') ? 8 : (conv == 'i') ? 0 : 16;
                Integer value;
                size_t n = scanInteger(s, dir.width != 0 ? dir.width : SIZE_MAX, base, &value);
                if (n == 0) return assigned;
                if (!dir.suppress) {
                    if (conv == 'd' || conv == 'i') storeSigned(ap, dir.length, toSigned(value));
                    else storeUnsigned(ap, dir.length, toUnsigned(value));
                    ++assigned;
                }
                s += n;
                break;
            }
            case 'f': case 'e': case 'g': case 'E': case 'G': case 'a': {
                char field[kMaxNumberField];
                collectNumber(s, dir.width, false, true, field);
                char* end = nullptr;
                double v = strtod(field, &end);
                if (end == field) return assigned;
                if (!dir.suppress) {
                    if (dir.length == Length::kLong) *va_arg(*ap, double*) = v;
                    else if (dir.length == Length::kLongLong) *va_arg(*ap, long double*) = v;
                    else *va_arg(*ap, float*) = static_cast<float>(v);
                    ++assigned;
                }
                s += (end - field);
                break;
            }
            case 's': case 'c': case '[': {
                // Set of accepted characters for %[ (bitmap over unsigned char).
                bool set[256];
                if (conv == '[') {
                    memset(set, 0, sizeof(set));
                    bool negate = false;
                    if (*f == '^') { negate = true; ++f; }
                    if (*f == ']') { set[static_cast<unsigned char>(']')] = true; ++f; }
                    while (*f != '\0' && *f != ']') {
                        if (f[1] == '-' && f[2] != ']' && f[2] != '\0') {
                            for (int c = static_cast<unsigned char>(f[0]); c <= static_cast<unsigned char>(f[2]); ++c) set[c] = true;
                            f += 3;
                        } else {
                            set[static_cast<unsigned char>(*f)] = true;
                            ++f;
                        }
                    }
                    if (*f != ']') return assigned;
                    ++f;
                    if (negate) for (bool& b : set) b = !b;
                    set[0] = false;
                }
                size_t width = dir.width ? dir.width : (conv == 'c' ? 1 : SIZE_MAX);
                size_t n = 0;
                if (conv == 'c') {
                    while (n < width && s[n] != '\0') ++n;
                    if (n < width) return assigned;
                } else if (conv == 's') {
                    while (n < width && s[n] != '\0' && !isSpace(static_cast<unsigned char>(s[n]))) ++n;
                } else {
                    while (n < width && set[static_cast<unsigned char>(s[n])]) ++n;
                    if (n == 0) return assigned;
                }
                if (!dir.suppress) {
                    char* dest = va_arg(*ap, char*);
                    // The size is an unsigned int, as in the other secure C
                    // libraries; on little-endian LP64 a size_t reads the same.
                    size_t size = va_arg(*ap, unsigned int);
                    size_t need = (conv == 'c') ? n : n + 1;
                    if (dest == nullptr || size == 0 || need > size) {
                        // Refuse a field that does not fit its destination.
                        if (dest != nullptr && size > 0) dest[0] = '\0';
                        return assigned;
                    }
                    memcpy(dest, s, n);
                    if (conv != 'c') dest[n] = '\0';
                    ++assigned;
                }
                s += n;
                break;
            }
            default:
                return assigned;
        }
    }
    return assigned;
}

}  // namespace

extern "C" {

errno_t memset_s(void* dest, size_t destMax, int c, size_t count) {
    if (dest == nullptr) return kEinval;
    if (count > destMax) return kErange;
    memset(dest, c, count);
    return EOK;
}

errno_t memcpy_s(void* dest, size_t destMax, const void* src, size_t count) {
    if (dest == nullptr) return kEinval;
    if (src == nullptr) {
        memset(dest, 0, destMax);
        return kEinval;
    }
    if (count > destMax) {
        memset(dest, 0, destMax);
        return kErange;
    }
    if (count == 0) return EOK;
    if (overlaps(dest, src, count)) {
        memset(dest, 0, destMax);
        return kEoverlap;
    }
    memcpy(dest, src, count);
    return EOK;
}

int sscanf_s(const char* buffer, const char* format, ...) {
    if (buffer == nullptr || format == nullptr) return -1;
    va_list ap;
    va_start(ap, format);
    int result = scan(buffer, format, &ap);
    va_end(ap);
    return result;
}

}  // extern "C"
