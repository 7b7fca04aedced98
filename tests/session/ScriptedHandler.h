#pragma once
// A stand-in for the stall engine's handler that replays scripted detection
// results: getDetectionResult blocks until the test pushes the next one, as
// the real one blocks for the next kernel report.

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace mqqoe::testing {

struct ScriptedDetector {
    int32_t mInterval = 1000;
};

// One result of getDetectionResult.
struct Pass {
    int outBytes;
    int inBytes;
    int result;
    bool flag;
    int status = 0;  // negative ends the session
};

class ScriptedHandler {
public:
    // Set-up results, and the interval the detector reports.
    int startResult = 0;
    int typeResult = 0;
    int awemeResult = 0;
    int algoResult = 0;
    int collectResult = 0;
    int32_t detectorInterval = 1000;
    unsigned long totals[2] = {0, 0};

    int32_t mUid = -1;
    int32_t mPauseDetect = 0;
    std::unique_ptr<ScriptedDetector> mCatoner;

    int start() { return record("start", startResult); }
    int stop() { return record("stop", 0); }
    int setDetectionType(int type) {
        mCatoner = std::make_unique<ScriptedDetector>();
        mCatoner->mInterval = detectorInterval;
        return record("type " + std::to_string(type) + " uid " + std::to_string(mUid), typeResult);
    }
    int setAwemeCatonPara(int a, int b, int c, int d, int e, int f, int g, int h, int user) {
        std::string text = "aweme";
        for (int v : {a, b, c, d, e, f, g, h, user}) text += " " + std::to_string(v);
        return record(text, awemeResult);
    }
    int setDetectionAlgo(int type) { return record("algo " + std::to_string(type), algoResult); }
    int startCollecting() { return record("startCollecting", collectResult); }
    int stopCollecting() { return record("stopCollecting", 0); }
    int getThroughputStats(unsigned long* out, unsigned long* in) const {
        *out = totals[0];
        *in = totals[1];
        return 0;
    }

    int getDetectionResult(int* outBytes, int* inBytes, int* result, bool& flag) {
        std::unique_lock<std::mutex> lock(mLock);
        ++mWaiting;
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return !mPasses.empty() || mClosed; });
        --mWaiting;
        if (mPasses.empty()) return -1;
        Pass pass = mPasses.front();
        mPasses.pop_front();
        ++mPassesTaken;
        mChanged.notify_all();
        *outBytes = pass.outBytes;
        *inBytes = pass.inBytes;
        *result = pass.result;
        flag = pass.flag;
        return pass.status;
    }

    void push(const Pass& pass) {
        std::lock_guard<std::mutex> guard(mLock);
        mPasses.push_back(pass);
        mChanged.notify_all();
    }
    // Makes every further getDetectionResult fail, as a dead channel would.
    void close() {
        std::lock_guard<std::mutex> guard(mLock);
        mClosed = true;
        mChanged.notify_all();
    }
    // Waits until the worker blocks for a result with nothing queued.
    bool waitBlocked(std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, timeout, [this] { return mWaiting > 0 && mPasses.empty(); });
    }
    // Waits until `count` pushed results were taken in all.
    bool waitTaken(int count, std::chrono::milliseconds timeout) {
        std::unique_lock<std::mutex> lock(mLock);
        return mChanged.wait_for(lock, timeout, [&] { return mPassesTaken >= count; });
    }
    std::vector<std::string> calls() const {
        std::lock_guard<std::mutex> guard(mLock);
        return mCalls;
    }

private:
    int record(const std::string& call, int result) {
        std::lock_guard<std::mutex> guard(mLock);
        mCalls.push_back(call);
        return result;
    }

    mutable std::mutex mLock;
    std::condition_variable mChanged;
    std::deque<Pass> mPasses;
    std::vector<std::string> mCalls;
    int mWaiting = 0;
    int mPassesTaken = 0;
    bool mClosed = false;
};

}  // namespace mqqoe::testing
