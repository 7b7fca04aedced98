#include "SearchKeys.h"

#include "AppScene.h"
#include "securec.h"

#include <cstring>

namespace mqqoe {

namespace {

template <size_t N>
void setKey(char (&field)[N], const char* text) {
    memset_s(field, N, 0, N);
    memcpy_s(field, N - 1, text, std::strlen(text));  // always NUL-terminated
}

}  // namespace

KorunSearchKeys GetSearchKeys() {
    KorunSearchKeys keys;
    memset_s(&keys, sizeof(keys), 0, sizeof(keys));
    setKey(keys.method, "GET");
    setKey(keys.videoPath, "video/m/");
    setKey(keys.proxyType, "Vpwp-Type: proxy");
    setKey(keys.preloaderType, "Vpwp-Type: preloader");
    setKey(keys.range, "\r\nRange: bytes=");
    setKey(keys.vpwpKey, "Vpwp-Key: ");
    setKey(keys.rangeKey, "?rk=");
    setKey(keys.keyParam, "&k=");
    keys.keySeparator = '&';
    keys.rangeDash = '-';
    keys.lineEnd = '\r';
    setKey(keys.contentRange, "\r\nContent-Range: bytes ");
    setKey(keys.contentLength, "\r\nContent-Length: ");
    keys.lengthSlash = '/';
    keys.contentLineEnd = '\r';
    keys.contentDash = '-';
    setKey(keys.boxName, "mvhd");
    return keys;
}

bool searchKeysForType(int detectionType, KorunSearchKeys* keys) {
    *keys = GetSearchKeys();
    switch (detectionType) {
        case scene::kShortVideo:
            return true;
        case scene::kShortVideoPicture:
            setKey(keys->keyParam, "_");
            keys->keySeparator = '.';
            setKey(keys->picturePath, "/upic");
            setKey(keys->pictureSuffix, ".mp4");
            return true;
        case scene::kShortVideoKey:
            setKey(keys->videoPath, "/video/");
            return true;
        default:
            return false;
    }
}

}  // namespace mqqoe
