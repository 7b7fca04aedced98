#pragma once
// Logging of the platform bridge: one tag for the natives, the session and
// the kernel channels.

#include <android/log.h>

namespace mqqoe {
constexpr char kLogTag[] = "ZvQoEJNI";
}  // namespace mqqoe

#define QLOGD(...) ((void)__android_log_print(ANDROID_LOG_DEBUG, ::mqqoe::kLogTag, __VA_ARGS__))
#define QLOGI(...) ((void)__android_log_print(ANDROID_LOG_INFO, ::mqqoe::kLogTag, __VA_ARGS__))
#define QLOGE(...) ((void)__android_log_print(ANDROID_LOG_ERROR, ::mqqoe::kLogTag, __VA_ARGS__))
