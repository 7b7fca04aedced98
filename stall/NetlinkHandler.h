#pragma once
// The stall engine's client of the kernel stall-detection module: the
// commands of family "zvkorun" for one watched uid over a generic netlink
// channel, the collection lifecycle, the detector chosen for the app scene,
// and the turning of each kernel report into a detection result.
//
// Driven by one detection thread only; nothing here takes a lock.

#include "AwemeReportPara.h"
#include "CatonDetection.h"
#include "GenlChannel.h"
#include "KorunProtocol.h"
#include "MessageParser.h"

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <utility>

namespace mqqoe {

class NetlinkHandler {
public:
    NetlinkHandler();
    ~NetlinkHandler();
    NetlinkHandler(const NetlinkHandler&) = delete;
    NetlinkHandler& operator=(const NetlinkHandler&) = delete;

    // Lifecycle: the channel opened and the family resolved, or closed.
    [[nodiscard]] int start();
    int stop();
    [[nodiscard]] int setupSocket();
    [[nodiscard]] int getFamilyID();
    [[nodiscard]] int getFamilyID(const char* familyName);

    // One command of up to korun::kMaxAttrs attribute slots.
    [[nodiscard]] int sendCommand(unsigned short type, unsigned char cmd, const nl_attr_data* attrs,
                                  int attrsNum, unsigned short flags);
    [[nodiscard]] int checkAck();

    // Detector choice and settings.
    int setDetectionType(int type);
    int setDetectionAlgo(int type);
    int setAlgoSwitchThreshold(int value);
    int setAlgoThreshold(float value);
    int setAwemeCatonPara(int m1s, int mR1s, int m2s, int mR2s, int m3s, int mR3s, int m6s, int mR6s,
                          int userType);
    int setAwemeCatonPara(const AwemeCatonPara& para);

    // Collection.
    int startCollecting();
    int stopCollecting();
    // Blocks for the next kernel report and returns the detector's verdict.
    int getDetectionResult(int* outBytes, int* inBytes, int* result, bool& reported);
    int getThroughputStats(unsigned long* out, unsigned long* in) const;
    int updateAwemeStallInfo(AwemeReportPara* report);

    // The report readers, over a received buffer apart from the socket.
    [[nodiscard]] int checkReportHeader(const genl_msg& buffer, ssize_t received, nl::Message* message,
                                        uint8_t* command) const;
    [[nodiscard]] int paserThroughputReport(const nl::Message& message, int* inPkts, int* outPkts,
                                            int* inBytes, int* outBytes) const;
    [[nodiscard]] int paserDouyinDetectionReport(const nl::Message& message, AwemeReportPara* record) const;

    // The watched uid, set by the detection thread before collection starts.
    void setUid(int32_t uid) { mUid = uid; }
    // Throughput reports go on being counted but no longer reach the detector.
    void pauseDetect() { mPauseDetect = 1; }
    // The detector of the current detection type, null without one.
    CatonDetection* detector() const { return mCatoner.get(); }
    // Replaces the detector the detection type chose with one of the caller's.
    void setDetector(std::unique_ptr<CatonDetection> detector) { mCatoner = std::move(detector); }

    int32_t uid() const { return mUid; }
    int32_t socketFd() const { return mChannel.fd(); }
    int32_t familyId() const { return mFamilyId; }
    uint32_t portId() const { return mChannel.port(); }
    bool collecting() const { return mCollecting != 0; }
    int32_t detectionType() const { return mDetectionType; }
    int32_t algoType() const { return mAlgoType; }
    int32_t interval() const { return mInterval; }

private:
    // One keep-alive for every fifth report; no acknowledgement is read.
    int tryKeepAlive();
    // The detector of mDetectionType, replacing any other.
    int createCatoner();
    // The detection class the kernel is told, -1 for none.
    int translateDetectionType() const;
    int getAndProcessWeChatReport(int* outBytes, int* inBytes, int* result);
    int getAndProcessDouYinReport(int* outBytes, int* inBytes, int* result, bool& reported);
    // One report with a valid header into `buffer`; 0 or -1.
    int recvReport(genl_msg* buffer, nl::Message* message, uint8_t* command);
    // A family command carrying the uid and the detection class, then more.
    int sendUidCommand(uint8_t cmd, unsigned short flags, const nl_attr_data* more = nullptr, int moreNum = 0);
    int32_t pollTimeoutMs() const;
    // The errno of the last failed send, taken when it failed.
    const char* sendError() const;

    nl::GenlChannel mChannel;  // the socket and the bound port; closed when not started
    int32_t mFamilyId = 0;
    int32_t mCollecting = 0;
    int32_t mUid = -1;
    int32_t mDetectionType = -1;
    int32_t mInterval = 0;
    int32_t mKeepAliveCount = 0;
    std::unique_ptr<CatonDetection> mCatoner;
    int32_t mAlgoType = -1;
    uint64_t mTotalInBytes = 0;
    uint64_t mTotalOutBytes = 0;
    int32_t mPauseDetect = 0;
    int mSendErrno = 0;
};

}  // namespace mqqoe
