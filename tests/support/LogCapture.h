#pragma once

#include <string>
#include <vector>

namespace mqqoe::testing {

// One line as liblog handed it to the installed logger.
struct LogLine {
    int priority;
    std::string tag;
    std::string message;
};

// "priority/tag: message", as dumps and the JVM tests show a line.
std::string format(const LogLine& line);

// Records every liblog message of the process while it lives, through
// liblog's own logger hook. One capture at a time.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogLine> lines() const;
    void clear();
    // True when some line has this tag and exactly this message.
    bool contains(const std::string& tag, const std::string& message) const;
    // True when some line has this priority, tag and exactly this message.
    bool contains(int priority, const std::string& tag, const std::string& message) const;
    // Number of lines with this tag whose message equals `message`.
    size_t count(const std::string& tag, const std::string& message) const;
    // All lines, one per row, as "P/tag: message" (for failure output).
    std::string dump() const;
};

}  // namespace mqqoe::testing
