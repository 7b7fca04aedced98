#include "NetlinkHandler.h"

#include "AudioCatonDetection.h"

#include <GenlKernel.h>
#include <LogCapture.h>
#include <errno.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <memory>
#include <cstring>
#include <string>

using namespace mqqoe;  // NOLINT: the engine under test

using kemu::Bytes;
using mqqoe::testing::LogCapture;
namespace genl = kemu::genl;

namespace {

constexpr int kUid = 10123;
constexpr int kFamily = genl::kDefaultFamilyId;
// 4246291 x 3,000,000 wraps to 64 ms in 32-bit arithmetic: a bounded ack wait.
constexpr int32_t kShortWaitInterval = 4246291;
constexpr int kReportWaitMs = 5000;
constexpr int kNoReport = -2;
using Attrs = std::vector<std::pair<int, Bytes>>;

// A voice-call detector whose interval makes every wait of the handler short.
struct ShortWaitDetector : AudioCatonDetection {
    ShortWaitDetector() { mInterval = kShortWaitInterval; }
};

class HandlerTest : public ::testing::Test {
protected:
    void SetUp() override {
        kemu::reset();
        ASSERT_EQ(0, handler.start());
        handler.setUid(kUid);
    }

    void collect(int type) {
        ASSERT_EQ(0, handler.setDetectionType(type));
        ASSERT_EQ(0, handler.setDetectionAlgo(0));
        ASSERT_EQ(0, handler.startCollecting());
    }

    // Family messages sent with `command`, oldest first.
    static std::vector<Bytes> sentCommands(int command) {
        std::vector<Bytes> found;
        for (const Bytes& m : genl::sentMessages()) {
            if (genl::typeOf(m) == kFamily && genl::commandOf(m) == command) found.push_back(m);
        }
        return found;
    }

    // A collecting handler waits for its report without limit (at a 1000 ms
    // interval), so the test first waits, bounded, for one to be queued.
    int next(int* result = nullptr, int* out = nullptr, int* in = nullptr) {
        pollfd queued{handler.socketFd(), POLLIN, 0};
        if (handler.collecting() && poll(&queued, 1, kReportWaitMs) != 1) {
            ADD_FAILURE() << "no report queued for the handler";
            return kNoReport;
        }
        bool reported = false;
        return handler.getDetectionResult(out, in, result, reported);
    }

    // Pushes `report`; the next result must fail with `message` logged.
    void rejects(const Bytes& report, const std::string& message) {
        genl::pushRaw(report);
        EXPECT_EQ(-1, next());
        EXPECT_TRUE(logged(message)) << message;
    }

    bool logged(const std::string& message) const { return log.contains("Korun", message); }

    LogCapture log;
    NetlinkHandler handler;
};

}  // namespace

// The lookup's bytes are the channel's (GenlChannelTest); here, its wording.
TEST_F(HandlerTest, FamilyLookupAsksTheControllerForZvkorun) {
    EXPECT_EQ(static_cast<int>(handler.portId()), genl::pidOf(genl::sentMessages().at(0)));
    EXPECT_EQ(kFamily, handler.familyId());
    EXPECT_TRUE(logged("netlink family ID = 27"));
    EXPECT_EQ(-1, handler.getFamilyID("absent"));
    EXPECT_EQ(0, log.lines().back().message.rfind("netlink header is invalid when get family ID(type:2):", 0));

    NetlinkHandler other;
    kemu::failNextSocket(kemu::kGenericProtocol, EMFILE);
    EXPECT_EQ(-1, other.start());
    EXPECT_EQ(-1, other.socketFd());
    EXPECT_TRUE(logged("Unable to create netlink socket: Too many open files"));
}

TEST_F(HandlerTest, SendCommandBoundsItsAttributes) {
    size_t before = genl::sentMessages().size();
    nl_attr_data attrs[6] = {};
    EXPECT_EQ(-1, handler.sendCommand(kFamily, 3, attrs, 6, 1));
    EXPECT_EQ(-1, handler.sendCommand(kFamily, 3, attrs, -1, 1));
    EXPECT_TRUE(logged("Invalid attrs_num:6") && logged("Invalid attrs_num:-1"));
    EXPECT_EQ(before, genl::sentMessages().size());

    ASSERT_EQ(0, handler.sendCommand(kFamily, 3, attrs, 0, 1));
    EXPECT_EQ(before + 1, genl::sentMessages().size());
    EXPECT_EQ(20u, genl::sentMessages().back().size());
    attrs[0] = {5, 9, {1, 2, 3, 4, 5}};
    ASSERT_EQ(0, handler.sendCommand(kFamily, 3, attrs, 1, 1));
    Bytes m = genl::sentMessages().back();
    ASSERT_EQ(32u, m.size());
    EXPECT_EQ(9, m[20]);
    // Two full slots (2 x 504 bytes) after the headers do not fit the 1024-byte message.
    attrs[0].length = attrs[1].length = 500;
    EXPECT_EQ(-1, handler.sendCommand(kFamily, 3, attrs, 2, 1));
    EXPECT_TRUE(logged("The attribute 1(type:0, length:500) does not fit in the message"));
    EXPECT_EQ(before + 2, genl::sentMessages().size());
}

TEST_F(HandlerTest, StartCarriesUidClassIntervalAndKeysPerType) {
    const struct { int type, detectClass, interval; } cases[] = {
        {100105, 1, 1000}, {100106, 1, 2000}, {100501, 2, 1000}, {100701, 3, 1000}, {100901, 2, 1000}};
    for (const auto& c : cases) {
        collect(c.type);
        Bytes start = sentCommands(1).back();
        EXPECT_EQ(5, genl::flagsOf(start));
        EXPECT_EQ(kUid, genl::u32AttrOf(start, 1));
        EXPECT_EQ(c.detectClass, genl::u32AttrOf(start, 2));
        EXPECT_EQ(c.interval, genl::u32AttrOf(start, 3));
        Bytes keys = genl::attrOf(start, 8);
        if (c.detectClass == 1) {
            EXPECT_EQ((std::vector<int>{1, 2, 3}), genl::attrTypesOf(start));
        } else {
            ASSERT_EQ(331u, keys.size());
            const char* k = reinterpret_cast<const char*>(keys.data());
            EXPECT_STREQ(c.type == 100901 ? "/video/" : "video/m/", k + 25);
            EXPECT_STREQ(c.type == 100701 ? "_" : "&k=", k + 175);
            EXPECT_EQ(c.type == 100701 ? '.' : '&', k[200]);
            EXPECT_STREQ(c.type == 100701 ? ".mp4" : "", k + 228);
            EXPECT_STREQ("mvhd", k + 306);
        }
        EXPECT_EQ(0, handler.stopCollecting());
        Bytes stop = sentCommands(2).back();
        EXPECT_EQ((std::vector<int>{1, 2}), genl::attrTypesOf(stop));
        EXPECT_EQ(c.detectClass, genl::u32AttrOf(stop, 2));
        EXPECT_EQ(nullptr, handler.detector());
    }
    EXPECT_TRUE(logged("key2=/video/"));
}

TEST_F(HandlerTest, NackOrSilenceFailsTheStartAndStopGoesOnPastAFailedSend) {
    genl::nackNext(-2, 1);
    ASSERT_EQ(0, handler.setDetectionType(100105));
    EXPECT_EQ(-1, handler.startCollecting());
    EXPECT_TRUE(logged("received the nack=-2"));
    EXPECT_TRUE(logged("check ack faild when start collecting for uid(10123)"));
    EXPECT_FALSE(handler.collecting());

    genl::setSilent(true);
    handler.setDetector(std::make_unique<ShortWaitDetector>());
    EXPECT_EQ(-1, handler.startCollecting());
    EXPECT_TRUE(logged("poll timeout"));

    genl::setSilent(false);
    ASSERT_EQ(0, handler.startCollecting());
    kemu::failSends(kemu::kGenericProtocol, 1, EIO);
    EXPECT_EQ(0, handler.stopCollecting());
    EXPECT_TRUE(logged("send the STOP command failed: Input/output error"));
    EXPECT_EQ(2u, log.count("Korun", "poll timeout"));  // the ack is still awaited
    EXPECT_TRUE(logged("check ack faild when stop collecting for uid(10123)"));
    EXPECT_FALSE(handler.collecting());
    EXPECT_EQ(nullptr, handler.detector());
}

TEST_F(HandlerTest, KeepAliveGoesOutWithEveryFifthReportAndPauseStillCountsBytes) {
    collect(100106);
    std::vector<size_t> keepAlives;
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(genl::pushThroughputReport(kUid, 60, 1, 10000, 500));
        int result = -1, out = 0, in = 0;
        ASSERT_EQ(0, next(&result, &out, &in));
        EXPECT_EQ((std::vector<int>{1, 500, 10000}), (std::vector<int>{result, out, in}));  // 60 packets: a stall
        keepAlives.push_back(sentCommands(3).size());
    }
    EXPECT_EQ((std::vector<size_t>{0, 0, 0, 0, 1, 1, 1, 1, 1, 2}), keepAlives);
    EXPECT_EQ(1, genl::flagsOf(sentCommands(3)[0]));
    EXPECT_EQ((std::vector<int>{1, 2}), genl::attrTypesOf(sentCommands(3)[0]));
    handler.pauseDetect();
    genl::pushThroughputReport(kUid, 0, 0, 700, 300);
    int result = -1;
    EXPECT_EQ(0, next(&result));
    EXPECT_EQ(0, result);
    genl::pushThroughputReport(kUid, 0, 0, 0x80000000u, 0);  // the kernel's counts are unsigned
    EXPECT_EQ(0, next(&result));
    unsigned long out = 0, in = 0;
    handler.getThroughputStats(&out, &in);
    EXPECT_EQ(5300u, out);
    EXPECT_EQ(100700u + 0x80000000u, in);
    // A stopped handler forgets the pause: the next session detects again.
    EXPECT_EQ(0, handler.stopCollecting());
    EXPECT_EQ(0, handler.stop());
    ASSERT_EQ(0, handler.start());
    handler.setUid(kUid);
    collect(100106);
    genl::pushThroughputReport(kUid, 60, 1, 10000, 500);
    EXPECT_EQ(0, next(&result));
    EXPECT_EQ(1, result);
}

TEST_F(HandlerTest, RejectedReportsCountForNothingAndAttributesComeInOrder) {
    collect(100105);
    auto u32 = genl::u32Payload;
    genl::pushThroughputReport(999, 1, 1, 1, 1);
    EXPECT_EQ(-1, next());
    EXPECT_TRUE(logged("We get the other owner's report: 999, our uid is 10123"));
    rejects(genl::message(kFamily, 5, Attrs{{1, u32(kUid)}, {5, u32(1)}, {4, u32(1)}}),
            "We hope get the inPkts, but get the type: 5");
    rejects(genl::message(kFamily, 6, Attrs{{1, u32(kUid)}}),
            "NetlinkHnadler::getAndProcessWeChatReport(): recv a invalid command:6");
    for (int i = 0; i < 5; ++i) {
        genl::pushThroughputReport(kUid, 40, 1, 1, 1);
        int result = -1;
        EXPECT_EQ(0, next(&result));
    }
    EXPECT_EQ(1u, sentCommands(3).size());

    EXPECT_EQ(0, handler.stopCollecting());
    collect(100501);
    rejects(genl::message(kFamily, 5, Attrs{{1, u32(kUid)}}),
            "NetlinkHnadler::getAndProcessDouYinReport(): recv a invalid command:5");
}

// The call detectors judge the inbound figures: each row's inbound side and
// outbound side alone would give different verdicts.
TEST_F(HandlerTest, CallDetectorsAreFedTheInboundFigures) {
    const struct {
        int type;
        uint32_t inPkts, outPkts, inBytes, outBytes;
        int reports;  // the verdict of the last one
        int result;
    } cases[] = {
        {100106, 110, 60, 20000, 500, 1, 0},  // inbound: 4G voice band; outbound: too little
        {100106, 60, 110, 500, 20000, 1, 1},
        {100105, 40, 5, 0, 0, 5, 0},  // inbound switches to 4G and passes; outbound f0 = 5 would stall
        {100105, 5, 40, 0, 0, 5, 1},
    };
    for (const auto& c : cases) {
        collect(c.type);
        int result = -1;
        for (int i = 0; i < c.reports; ++i) {
            ASSERT_TRUE(genl::pushThroughputReport(kUid, c.inPkts, c.outPkts, c.inBytes, c.outBytes));
            ASSERT_EQ(0, next(&result));
        }
        EXPECT_EQ(c.result, result) << c.type << " in " << c.inPkts;
        EXPECT_EQ(0, handler.stopCollecting());
    }
}

// A video six seconds behind playback is marked at that step and stopped in
// the kernel, whether or not the six-second marks vote; the three-second vote
// is held back so that the video gets there.
TEST_F(HandlerTest, VideoSixSecondsBehindIsStoppedInTheKernel) {
    const struct {
        int userType;  // 1: the six-second marks vote
        int result;    // of the sixth step
    } cases[] = {{0, 0}, {1, 1}};
    for (const auto& c : cases) {
        LogCapture stepLog;
        ASSERT_EQ(0, handler.setDetectionType(100501));
        ASSERT_EQ(0, handler.setAwemeCatonPara(3, 4, 2, 3, 9, 9, 1, 1, c.userType));
        ASSERT_EQ(0, handler.startCollecting());
        const size_t updates = sentCommands(4).size();
        Bytes info;
        genl::setStallEntry(info, 2, 0, 1000000, "v2", 0, 0, 1, 20);  // 20 s known, nothing loaded
        int result = -1;
        // A new request (step 1), then one report a second: steps 1 to 6 are decided.
        for (uint32_t state : {1u, 2u, 2u, 2u, 2u, 2u, 2u}) {
            EXPECT_EQ(updates, sentCommands(4).size());
            ASSERT_TRUE(genl::pushAwemeReport(kUid, 2, 2, 3, state, info));
            ASSERT_EQ(0, next(&result));
        }
        EXPECT_TRUE(stepLog.contains("Korun", "thinks it as stall because loaded=0, stalltime = 6s, coderate = 50000"));
        EXPECT_EQ(0u, stepLog.count("Korun", "detect stall(caton_result_3s=1 (con_caton_num=1, caton_num=1))"));
        EXPECT_EQ(c.result, result) << c.userType;
        ASSERT_EQ(updates + 1, sentCommands(4).size()) << c.userType;
        EXPECT_EQ((std::vector<int64_t>{2, 0}),
                  (std::vector<int64_t>{genl::u32AttrOf(sentCommands(4).back(), 9),
                                        genl::u32AttrOf(sentCommands(4).back(), 12)}));
        EXPECT_EQ(0, handler.stopCollecting());
    }
}

// A video that stalls for three seconds is stopped in the kernel for user type 2.
TEST_F(HandlerTest, StalledShortVideoIsUpdatedInTheKernel) {
    ASSERT_EQ(0, handler.setDetectionType(100901));
    ASSERT_EQ(0, handler.setAwemeCatonPara(3, 4, 2, 3, 1, 1, 1, 1, 2));
    ASSERT_EQ(0, handler.startCollecting());
    Bytes info;
    genl::setStallEntry(info, 3, 0, 1000000, "v3", 0, 0, 1, 10);
    for (uint32_t state : {1u, 2u, 2u, 2u}) {
        ASSERT_TRUE(genl::pushAwemeReport(kUid, 3, 3, 4, state, info));
        int result = -1;
        EXPECT_EQ(0, next(&result));
    }
    // The newest entry's index is checked too.
    ASSERT_TRUE(genl::pushAwemeReport(kUid, 3, 10, 4, 2, info));
    EXPECT_EQ(-1, next());
    EXPECT_TRUE(logged("Invalid index:detect_index=3, cur_index=10") && logged("DouYin inputSample() failed"));
    ASSERT_EQ(1u, sentCommands(4).size());
    const Bytes update = sentCommands(4)[0];
    EXPECT_EQ(5, genl::flagsOf(update));
    EXPECT_EQ((std::vector<int>{1, 2, 9, 12}), genl::attrTypesOf(update));
    EXPECT_EQ((std::vector<int64_t>{kUid, 2, 3, 0}),
              (std::vector<int64_t>{genl::u32AttrOf(update, 1), genl::u32AttrOf(update, 2), genl::u32AttrOf(update, 9),
                                    genl::u32AttrOf(update, 12)}));
}

TEST_F(HandlerTest, LifecycleOrderIsEnforced) {
    EXPECT_EQ(-1, next());
    EXPECT_TRUE(logged("getDetectionResult: you should call startCollecting() firstly"));
    EXPECT_EQ(-1, handler.startCollecting());  // no detector yet
    AwemeReportPara record{};
    EXPECT_EQ(-1, handler.updateAwemeStallInfo(&record));
    EXPECT_EQ(0, handler.setDetectionAlgo(3));
    EXPECT_EQ(-1, handler.algoType());
    EXPECT_EQ(-1, handler.setDetectionType(4242));
    EXPECT_TRUE(logged("Invalid detection type(4242) when create catoner") && logged("create the detection type: 4242"));
    EXPECT_EQ(0, handler.stopCollecting());  // STOP goes out anyway
    EXPECT_EQ(1u, sentCommands(2).size());
    EXPECT_TRUE(logged("You already called the stopCollecting(), just ignore this call"));

    collect(100105);
    EXPECT_EQ(-1, handler.startCollecting());
    EXPECT_TRUE(logged("You already called the startCollecting(), just ignore this call"));
    int fd = handler.socketFd();
    EXPECT_EQ(-1, handler.start());
    EXPECT_TRUE(logged("You already called the start(), just ignore this call"));
    EXPECT_EQ(-1, handler.stop());
    EXPECT_EQ(fd, handler.socketFd());
    EXPECT_EQ(kUid, handler.uid());
    EXPECT_EQ(0, handler.stopCollecting());
    EXPECT_EQ(0, handler.stop());
    EXPECT_EQ(-1, handler.socketFd());
    EXPECT_EQ(-1, handler.uid());
    EXPECT_EQ(100105, handler.detectionType());
}

// What came instead of an acknowledgement or the family id, in the words of
// the step that awaited it.
TEST_F(HandlerTest, AWaitThatEndsOnTheWrongMessageSaysWhatCame) {
    auto u32 = genl::u32Payload;
    const Bytes report = genl::message(kFamily, 5, Attrs{{1, u32(kUid)}});
    Bytes shortAck = genl::message(2, 0, {});
    shortAck.resize(16);
    const struct {
        Bytes queued;
        const char* logged;
    } beforeStart[] = {
        {report, "receive the invalid message type=27 when recv the ack"},
        {shortAck, "netlink header is invalid when recv the ack"},
    };
    ASSERT_EQ(0, handler.setDetectionType(100105));
    for (const auto& c : beforeStart) {
        ASSERT_TRUE(genl::pushRaw(c.queued));
        EXPECT_EQ(-1, handler.startCollecting()) << c.logged;
        EXPECT_TRUE(logged(c.logged)) << log.dump();
        EXPECT_FALSE(handler.collecting());
        ASSERT_EQ(0, handler.checkAck());  // the START's own ack, queued behind
    }

    const Bytes idFirst = genl::message(16, 1, Attrs{{1, {27, 0}}, {2, {'z', 0}}});
    NetlinkHandler lookup;
    ASSERT_EQ(0, lookup.setupSocket());
    ASSERT_TRUE(genl::pushRaw(idFirst));
    EXPECT_EQ(-1, lookup.getFamilyID());
    EXPECT_TRUE(logged("netlink invalid family ID"));
}

// Whatever a received message claims, nothing is read past the bytes received
// or its own nlmsg_len, and each attribute must be as long as its type.
TEST(ReceivedMessages, AreBoundedByTheirLengthAndAttributesByTheirType) {
    using Parse = int (*)(NetlinkHandler&, const genl_msg&, ssize_t);
    const Parse report = [](NetlinkHandler& h, const genl_msg& m, ssize_t n) {
        nl::Message message;
        uint8_t command = 0;
        int values[4];
        int result = h.checkReportHeader(m, n, &message, &command);
        return result != 0 ? result : h.paserThroughputReport(message, &values[0], &values[1], &values[2], &values[3]);
    };
    const Parse aweme = [](NetlinkHandler& h, const genl_msg& m, ssize_t n) {
        nl::Message message;
        uint8_t command = 0;
        AwemeReportPara record{};
        int result = h.checkReportHeader(m, n, &message, &command);
        return result != 0 ? result : h.paserDouyinDetectionReport(message, &record);
    };
    auto u32 = genl::u32Payload;
    const Bytes counters = genl::message(kFamily, 5, Attrs{{1, u32(kUid)}, {4, u32(1)}, {5, u32(1)}, {6, u32(1)}, {7, u32(1)}});
    const struct {
        const char* name;
        Parse parse;
        Bytes message;
        uint32_t nlmsgLen;  // 0: as built
        size_t received;    // 0: the whole message
        const char* logged;  // null: accepted
    } cases[] = {
        {"throughput report", report, counters, 0, 0, nullptr},
        {"counter past nlmsg_len", report, counters, static_cast<uint32_t>(counters.size() - 8), 0,
         "The report ends before the attribute type 7"},
        {"counter running past nlmsg_len", report, counters, static_cast<uint32_t>(counters.size() - 4), 0,
         "The report ends before the attribute type 7"},
        {"other type for the uid", report, genl::message(kFamily, 5, Attrs{{4, u32(kUid)}}), 0, 0,
         "We hope get the UID, but get the type: 4"},
        {"other type for outPkts", report, genl::message(kFamily, 5, Attrs{{1, u32(kUid)}, {4, u32(1)}, {6, u32(1)}}),
         0, 0, "We hope get the outPkts, but get the type: 6"},
        {"other type for inbytes", report,
         genl::message(kFamily, 5, Attrs{{1, u32(kUid)}, {4, u32(1)}, {5, u32(1)}, {7, u32(1)}}), 0, 0,
         "We hope get the inbytes, but get the type: 7"},
        {"other type for outbytes", report,
         genl::message(kFamily, 5, Attrs{{1, u32(kUid)}, {4, u32(1)}, {5, u32(1)}, {6, u32(1)}, {6, u32(1)}}), 0, 0,
         "We hope get the outbytes, but get the type: 6"},
        {"other type for cur_detect_index", aweme, genl::message(kFamily, 6, Attrs{{1, u32(kUid)}, {10, u32(0)}}), 0,
         0, "We hope get the cur_detect_index, but get the type: 10"},
        // The state word reuses the valid_num wording.
        {"other type for the state word", aweme,
         genl::message(kFamily, 6, Attrs{{1, u32(kUid)}, {9, u32(0)}, {10, u32(0)}, {11, u32(1)}, {13, {}}}), 0, 0,
         "We hope get the valid_num, but get the type: 13"},
        {"other type for cur_index", aweme, genl::message(kFamily, 6, Attrs{{1, u32(kUid)}, {9, u32(0)}, {11, u32(0)}}),
         0, 0, "We hope get the cur_index, but get the type: 11"},
        {"other type for the stall info", aweme,
         genl::message(kFamily, 6, Attrs{{1, u32(kUid)}, {9, u32(0)}, {10, u32(0)}, {11, u32(1)}, {12, u32(1)}, {3, {}}}),
         0, 0, "We hope get the stall info, but get the type: 3"},
        {"two-byte counter", report, genl::message(kFamily, 5, Attrs{{1, u32(kUid)}, {4, {1, 0}}}), 0, 0,
         "The attribute type 4 carries 2 bytes instead of 4"},
        {"report without its command", report, counters, 18, 0, "netlink header is invalid when recv the report:27"},
    };
    for (const auto& c : cases) {
        LogCapture log;
        NetlinkHandler handler;
        handler.setUid(kUid);
        genl_msg buffer{};
        std::memcpy(&buffer, c.message.data(), std::min(c.message.size(), sizeof(buffer)));
        if (c.nlmsgLen != 0) buffer.n.nlmsg_len = c.nlmsgLen;
        const size_t received = c.received != 0 ? c.received : c.message.size();
        EXPECT_EQ(c.logged == nullptr ? 0 : -1, c.parse(handler, buffer, static_cast<ssize_t>(received))) << c.name;
        if (c.logged != nullptr) {
            EXPECT_TRUE(log.contains("Korun", c.logged)) << c.name << "\n" << log.dump();
        }
    }
}
