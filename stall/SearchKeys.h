#pragma once
// The byte patterns the kernel module looks for in the short-video app's HTTP
// traffic, sent once with KORUN_CMD_START. Fixed 331-byte layout. Every
// text and character is ASCII, so the bytes do not depend on whether char is
// signed (x86-64) or unsigned (Arm).

#include <cstddef>

#include "mqqoe_netlink.h"

namespace mqqoe {

constexpr size_t kSearchKeyLen = KORUN_KEY_LEN;

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
static_assert(sizeof(KorunSearchKeys) == 331 && sizeof(KorunSearchKeys) == KORUN_SEARCH_KEYS_LEN &&
                      sizeof(KorunSearchKeys) == sizeof(korun_search_keys),
              "search key record layout");
static_assert(offsetof(KorunSearchKeys, keySeparator) == 200, "search key record layout");
static_assert(offsetof(KorunSearchKeys, picturePath) == 203, "search key record layout");
static_assert(offsetof(KorunSearchKeys, contentRange) == 253, "search key record layout");
static_assert(offsetof(KorunSearchKeys, lengthSlash) == 303, "search key record layout");
static_assert(offsetof(KorunSearchKeys, boxName) == 306, "search key record layout");
// Field by field as the module reads it.
static_assert(offsetof(KorunSearchKeys, videoPath) == offsetof(korun_search_keys, video_key) &&
                      offsetof(KorunSearchKeys, range) == offsetof(korun_search_keys, range) &&
                      offsetof(KorunSearchKeys, keyParam) == offsetof(korun_search_keys, k) &&
                      offsetof(KorunSearchKeys, keySeparator) == offsetof(korun_search_keys, key_end) &&
                      offsetof(KorunSearchKeys, picturePath) == offsetof(korun_search_keys, pic_prefix) &&
                      offsetof(KorunSearchKeys, contentRange) == offsetof(korun_search_keys, content_range) &&
                      offsetof(KorunSearchKeys, contentLength) == offsetof(korun_search_keys, content_length) &&
                      offsetof(KorunSearchKeys, lengthSlash) == offsetof(korun_search_keys, total_sep) &&
                      offsetof(KorunSearchKeys, contentDash) == offsetof(korun_search_keys, range_sep) &&
                      offsetof(KorunSearchKeys, boxName) == offsetof(korun_search_keys, mvhd),
              "search key record as the module reads it");

// The default record (type 100501).
KorunSearchKeys GetSearchKeys();
// The record for a short-video detection type; false for other types.
bool searchKeysForType(int detectionType, KorunSearchKeys* keys);

}  // namespace mqqoe
