#pragma once
// Logging of the stall engine: one tag for every unit.

#include <android/log.h>

constexpr char kStallLogTag[] = "Korun";

#define KLOGD(...) ((void)__android_log_print(ANDROID_LOG_DEBUG, kStallLogTag, __VA_ARGS__))
#define KLOGI(...) ((void)__android_log_print(ANDROID_LOG_INFO, kStallLogTag, __VA_ARGS__))
#define KLOGE(...) ((void)__android_log_print(ANDROID_LOG_ERROR, kStallLogTag, __VA_ARGS__))
