#include "LogCapture.h"

#include <android/log.h>

#include <mutex>

namespace mqqoe::testing {
namespace {

std::mutex gLock;
std::vector<LogLine> gLines;

void record(const __android_logger_data* data, const char* message) {
    std::lock_guard<std::mutex> guard(gLock);
    gLines.push_back({data->priority, data->tag ? data->tag : "", message ? message : ""});
}

}  // namespace

std::string format(const LogLine& line) {
    return std::to_string(line.priority) + "/" + line.tag + ": " + line.message;
}

LogCapture::LogCapture() {
    clear();
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(record);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
}

std::vector<LogLine> LogCapture::lines() const {
    std::lock_guard<std::mutex> guard(gLock);
    return gLines;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> guard(gLock);
    gLines.clear();
}

bool LogCapture::contains(const std::string& tag, const std::string& message) const {
    return count(tag, message) > 0;
}

bool LogCapture::contains(int priority, const std::string& tag, const std::string& message) const {
    std::lock_guard<std::mutex> guard(gLock);
    for (const auto& line : gLines) {
        if (line.priority == priority && line.tag == tag && line.message == message) return true;
    }
    return false;
}

size_t LogCapture::count(const std::string& tag, const std::string& message) const {
    std::lock_guard<std::mutex> guard(gLock);
    size_t n = 0;
    for (const auto& line : gLines) {
        if (line.tag == tag && line.message == message) ++n;
    }
    return n;
}

std::string LogCapture::dump() const {
    std::lock_guard<std::mutex> guard(gLock);
    std::string out;
    for (const auto& line : gLines) out += format(line) + "\n";
    return out;
}

}  // namespace mqqoe::testing
