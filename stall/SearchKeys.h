#pragma once
// The byte patterns the kernel module looks for in the short-video app's HTTP
// traffic, sent once with KORUN_CMD_START. Fixed 331-byte layout. Every
// text and character is ASCII, so the bytes do not depend on whether char is
// signed (x86-64) or unsigned (Arm).

#include <cstddef>

constexpr size_t kSearchKeyLen = 25;

struct KorunSearchKeys {
    char method[kSearchKeyLen];
    char videoPath[kSearchKeyLen];
    char proxyType[kSearchKeyLen];
    char preloaderType[kSearchKeyLen];
    char range[kSearchKeyLen];
    char vpwpKey[kSearchKeyLen];
    char rangeKey[kSearchKeyLen];
    char keyParam[kSearchKeyLen];
    char keySeparator;
    char rangeDash;
    char lineEnd;
    char picturePath[kSearchKeyLen];
    char pictureSuffix[kSearchKeyLen];
    char contentRange[kSearchKeyLen];
    char contentLength[kSearchKeyLen];
    char lengthSlash;
    char contentLineEnd;
    char contentDash;
    char boxName[kSearchKeyLen];
};
static_assert(sizeof(KorunSearchKeys) == 331, "search key record layout");
static_assert(offsetof(KorunSearchKeys, keySeparator) == 200, "search key record layout");
static_assert(offsetof(KorunSearchKeys, picturePath) == 203, "search key record layout");
static_assert(offsetof(KorunSearchKeys, contentRange) == 253, "search key record layout");
static_assert(offsetof(KorunSearchKeys, lengthSlash) == 303, "search key record layout");
static_assert(offsetof(KorunSearchKeys, boxName) == 306, "search key record layout");

// The default record (type 100501).
KorunSearchKeys GetSearchKeys();
// The record for a short-video detection type; false for other types.
bool searchKeysForType(int detectionType, KorunSearchKeys* keys);
