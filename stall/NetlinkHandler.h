#pragma once
// The stall engine's channel to the kernel stall-detection module: a generic
// netlink socket for one watched uid, the detector chosen for the app scene,
// and the turning of each kernel report into a detection result.
//
// Driven by one detection thread only; nothing here takes a lock.

#include "AwemeReportPara.h"
#include "CatonDetection.h"
#include "KorunProtocol.h"
#include "UniqueFd.h"

#include <poll.h>
#include <sys/types.h>

#include <cstdint>
#include <memory>

class NetlinkHandler {
public:
    // App scene codes accepted by setDetectionType.
    static constexpr int kTypeWeChatVoice = 100105;
    static constexpr int kTypeWeChatVideo = 100106;
    static constexpr int kTypeDouYin = 100501;
    static constexpr int kTypeDouYinPicture = 100701;
    static constexpr int kTypeDouYinVideoKey = 100901;

    // The process-wide handler, created on first use and never destroyed.
    static NetlinkHandler* Instance();

    // Direct construction is for tests and tools; the service uses Instance().
    NetlinkHandler();
    ~NetlinkHandler();
    NetlinkHandler(const NetlinkHandler&) = delete;
    NetlinkHandler& operator=(const NetlinkHandler&) = delete;

    // Lifecycle.
    [[nodiscard]] int start();
    int stop();

    // Socket and family lookup (start() runs both).
    [[nodiscard]] int setupSocket();
    [[nodiscard]] int getFamilyID();
    [[nodiscard]] int getFamilyID(const char* familyName);

    // Messages.
    [[nodiscard]] int sendCommand(unsigned short type, unsigned char cmd, const nl_attr_data* attrs,
                                  int attrsNum, unsigned short flags);
    static int pollSock(pollfd* fds, unsigned int count, int timeout);
    [[nodiscard]] int checkAck();
    int tryKeepAlive();

    // Detector choice and settings.
    int setDetectionType(int type);
    int createCatoner();
    int setDetectionAlgo(int type);
    int setAlgoSwitchThreshold(int value);
    int setAlgoThreshold(float value);
    int setAwemeCatonPara(int m1s, int mR1s, int m2s, int mR2s, int m3s, int mR3s, int m6s, int mR6s,
                          int userType);
    int translateDetectionType() const;

    // Collection.
    int startCollecting();
    int stopCollecting();
    // Blocks for the next kernel report and returns the detector's verdict.
    int getDetectionResult(int* outBytes, int* inBytes, int* result, bool& reported);
    int getThroughputStats(unsigned long* out, unsigned long* in) const;
    int updateAwemeStallInfo(AwemeReportPara* report);

    // Report processing over a received buffer. The walkers never leave the
    // 1044-byte genl_msg, whatever the attribute lengths say.
    [[nodiscard]] int checkReportHeader(const genl_msg& message, ssize_t received) const;
    [[nodiscard]] int paserThroughputReport(const genl_msg* message, int* inPkts, int* outPkts,
                                            int* inBytes, int* outBytes) const;
    [[nodiscard]] int paserDouyinDetectionReport(const genl_msg* message, AwemeReportPara* record) const;

    int32_t socketFd() const { return mSock.get(); }
    int32_t familyId() const { return mFamilyId; }
    uint32_t portId() const { return mPortId; }
    bool collecting() const { return mCollecting != 0; }
    int32_t detectionType() const { return mDetectionType; }
    int32_t algoType() const { return mAlgoType; }
    int32_t interval() const { return mInterval; }

private:
    // Polls (interval-based time-out) and receives one message without
    // blocking; the received length, or -1 after logging.
    ssize_t waitAndReceive(genl_msg* message, const char* recvFailure);
    // One report with a valid header; the received length or -1.
    ssize_t recvReport(genl_msg* message);
    int getAndProcessWeChatReport(int* outBytes, int* inBytes, int* result);
    int getAndProcessDouYinReport(int* outBytes, int* inBytes, int* result, bool& reported);
    // Sends a family command carrying the uid and the detection class.
    int sendUidCommand(uint8_t cmd, unsigned short flags);
    int32_t pollTimeoutMs() const;

    // The fields, in layout order. The detection thread writes mUid and
    // mPauseDetect directly between calls and reads the detector's interval.
    UniqueFd mSock;  // generic netlink socket; -1 when not started
    int32_t mFamilyId = 0;
    uint32_t mPortId = 0;
    int32_t mCollecting = 0;

public:
    int32_t mUid = -1;

private:
    int32_t mDetectionType = -1;
    int32_t mInterval = 0;
    int32_t mKeepAliveCount = 0;

public:
    // The detector of the current detection type, null without one.
    std::unique_ptr<CatonDetection> mCatoner;

private:
    int32_t mAlgoType = -1;
    uint64_t mTotalInBytes = 0;
    uint64_t mTotalOutBytes = 0;

public:
    int32_t mPauseDetect = 0;
};
