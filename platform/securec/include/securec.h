#pragma once
// Bounds-checked memory and scanning functions of the platform's secure C library.

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#ifndef EOK
#define EOK 0
#endif
typedef int errno_t;

// Fills `count` bytes of `dest` with `c`. Fails, touching nothing, when `dest`
// is null or `count` exceeds `destMax`.
errno_t memset_s(void* dest, size_t destMax, int c, size_t count);

// Copies `count` bytes. Fails when either pointer is null, `count` exceeds
// `destMax` or the areas overlap; on failure `dest` is cleared when possible.
errno_t memcpy_s(void* dest, size_t destMax, const void* src, size_t count);

// sscanf with a buffer size (an unsigned int) after every %s, %c and %[
// destination. Returns the number of fields assigned, or -1 on input failure
// before the first one.
int sscanf_s(const char* buffer, const char* format, ...);

#ifdef __cplusplus
}
#endif
