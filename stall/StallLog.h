#pragma once
// Logging of the stall engine: one tag for every unit.

#include <android/log.h>

namespace mqqoe {

constexpr char kStallLogTag[] = "Korun";

#define KLOGD(...) ((void)__android_log_print(ANDROID_LOG_DEBUG, ::mqqoe::kStallLogTag, __VA_ARGS__))
#define KLOGI(...) ((void)__android_log_print(ANDROID_LOG_INFO, ::mqqoe::kStallLogTag, __VA_ARGS__))
#define KLOGE(...) ((void)__android_log_print(ANDROID_LOG_ERROR, ::mqqoe::kStallLogTag, __VA_ARGS__))

}  // namespace mqqoe
