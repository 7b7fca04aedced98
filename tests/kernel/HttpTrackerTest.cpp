// The stall module's short-video tracker, built for user space: what a
// video player's HTTP exchanges leave in the report, however the bytes are
// cut into segments, and what malformed traffic must never leave there.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

extern "C" {
#include "http_tracker.h"
}

#include "SearchKeys.h"

namespace {

constexpr uint64_t kFlow = 0x1234;

// The keys the library sends for a short-video type.
korun_search_keys keysFor(int type) {
    mqqoe::KorunSearchKeys keys;
    korun_search_keys record = {};
    if (mqqoe::searchKeysForType(type, &keys)) std::memcpy(&record, &keys, sizeof(record));
    return record;
}

// A body of `size` bytes with a version-0 'mvhd' box at `at`.
std::string mp4Body(size_t size, size_t at, uint32_t timescale, uint32_t duration) {
    std::string body(size, 'x');
    const uint8_t box[] = {'m', 'v', 'h', 'd', 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2,
                           uint8_t(timescale >> 24), uint8_t(timescale >> 16), uint8_t(timescale >> 8),
                           uint8_t(timescale), uint8_t(duration >> 24), uint8_t(duration >> 16),
                           uint8_t(duration >> 8), uint8_t(duration)};
    if (at + sizeof(box) <= size) std::memcpy(&body[at], box, sizeof(box));
    return body;
}

std::string request(const std::string& target, const std::string& extra = "") {
    return "GET " + target + " HTTP/1.1\r\nHost: v.example\r\n" + extra + "\r\n";
}

std::string response206(uint64_t first, uint64_t last, uint64_t total, uint64_t length) {
    return "HTTP/1.1 206 Partial Content\r\nContent-Range: bytes " + std::to_string(first) + "-" +
           std::to_string(last) + "/" + std::to_string(total) + "\r\nContent-Length: " + std::to_string(length) +
           "\r\n\r\n";
}

class Tracker {
public:
    explicit Tracker(int type = 100501) : mTracker(new kt_tracker) {
        korun_search_keys keys = keysFor(type);
        kt_init(mTracker.get(), &keys, type == 100701);
    }
    // Sends `bytes` in one direction, cut into segments of the given sizes (the rest in one).
    void send(kt_direction dir, const std::string& bytes, const std::vector<size_t>& cuts = {},
              uint64_t flow = kFlow) {
        uint32_t& seq = mSeq[dir];
        size_t at = 0;
        for (size_t cut : cuts) {
            cut = std::min(cut, bytes.size() - at);
            kt_segment(mTracker.get(), flow, dir, seq, reinterpret_cast<const uint8_t*>(bytes.data() + at),
                       static_cast<uint32_t>(cut));
            seq += static_cast<uint32_t>(cut);
            at += cut;
        }
        kt_segment(mTracker.get(), flow, dir, seq, reinterpret_cast<const uint8_t*>(bytes.data() + at),
                   static_cast<uint32_t>(bytes.size() - at));
        seq += static_cast<uint32_t>(bytes.size() - at);
    }
    // The same bytes again, from `back` bytes before the current end: a retransmission.
    void resend(kt_direction dir, const std::string& bytes, size_t back) {
        uint32_t seq = mSeq[dir] - static_cast<uint32_t>(back);
        kt_segment(mTracker.get(), kFlow, dir, seq,
                   reinterpret_cast<const uint8_t*>(bytes.data() + bytes.size() - back), static_cast<uint32_t>(back));
    }
    // The SYN of each direction: data follows its sequence number.
    void handshake() {
        for (kt_direction dir : {KT_OUTBOUND, KT_INBOUND}) kt_flow_start(mTracker.get(), kFlow, dir, mSeq[dir] - 1);
    }
    // Bytes that arrive `ahead` bytes past where the stream stands (a segment lost before them).
    void sendAhead(kt_direction dir, const std::string& bytes, uint32_t ahead) {
        kt_segment(mTracker.get(), kFlow, dir, mSeq[dir] + ahead, reinterpret_cast<const uint8_t*>(bytes.data()),
                   static_cast<uint32_t>(bytes.size()));
    }
    kt_report report() {
        kt_report r;
        kt_take_report(mTracker.get(), &r);
        return r;
    }
    kt_tracker* get() { return mTracker.get(); }

private:
    std::unique_ptr<kt_tracker> mTracker;
    uint32_t mSeq[2] = {0xfffff000u, 77};  // the outbound one wraps
};

const std::string kTarget = "/video/m/abc?rk=9&k=VID123&x=1";

TEST(HttpTracker, ARangedVideoDownloadFillsItsEntryWhateverTheSegmentation) {
    const std::string req = request(kTarget, "Range: bytes=0-\r\n");
    const std::string body = mp4Body(1000, 100, 1000, 10000);
    const std::string rsp = response206(0, 999, 5000, 1000) + body;
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        std::vector<size_t> reqCuts, rspCuts;
        // Round 0 in one piece each, then random cuts down to single bytes.
        for (size_t left = req.size(); round && left > 0;) {
            size_t cut = 1 + random() % (round % 3 == 0 ? 3 : 200);
            reqCuts.push_back(cut);
            left -= std::min(cut, left);
        }
        for (size_t left = rsp.size(); round && left > 0;) {
            size_t cut = 1 + random() % (round % 3 == 0 ? 3 : 400);
            rspCuts.push_back(cut);
            left -= std::min(cut, left);
        }
        Tracker t;
        t.send(KT_OUTBOUND, req, reqCuts);
        t.send(KT_INBOUND, rsp, rspCuts);
        kt_report r = t.report();
        EXPECT_EQ(1u, r.valid_num);
        EXPECT_EQ(0u, r.cur_index);
        EXPECT_EQ(0u, r.detect_index);
        EXPECT_EQ(uint32_t(KORUN_DETECT_NEW), r.detect_state);
        EXPECT_STREQ("VID123", r.entry[0].video);
        EXPECT_EQ(5000u, r.entry[0].total);
        EXPECT_EQ(0u, r.entry[0].range_start);
        EXPECT_EQ(1000u, r.entry[0].in_bytes);
        EXPECT_EQ(1000, r.entry[0].timescale);
        EXPECT_EQ(10000, r.entry[0].dur);
        EXPECT_EQ(uint32_t(KORUN_DETECT_ONGOING), t.report().detect_state);
    }
}

TEST(HttpTracker, RetransmittedBytesAreCountedOnce) {
    Tracker t;
    const std::string req = request(kTarget);
    t.send(KT_OUTBOUND, req);
    t.resend(KT_OUTBOUND, req, 10);
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n";
    const std::string part1(1200, 'a'), part2(1800, 'b');
    t.send(KT_INBOUND, head + part1);
    t.resend(KT_INBOUND, head + part1, 700);
    t.send(KT_INBOUND, part2);
    t.resend(KT_INBOUND, part2, 1800);
    kt_report r = t.report();
    EXPECT_EQ(3000u, r.entry[0].total);
    EXPECT_EQ(3000u, r.entry[0].in_bytes);
}

TEST(HttpTracker, AHeaderSegmentLostOnTheWayIsWaitedForAndTheBodyPastAGapCounted) {
    Tracker t;
    t.handshake();
    t.send(KT_OUTBOUND, request(kTarget));
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n";
    const std::string part1(1000, 'a'), part3(1000, 'c');
    // The head is lost: the first body bytes arrive ahead of it and wait...
    t.sendAhead(KT_INBOUND, part1, static_cast<uint32_t>(head.size()));
    EXPECT_EQ(0u, t.report().entry[0].total);
    // ...its retransmission is read; what the receiver already had is not sent again.
    t.send(KT_INBOUND, head);
    t.sendAhead(KT_INBOUND, part3, 2000);
    kt_report r = t.report();
    EXPECT_EQ(3000u, r.entry[0].total);
    EXPECT_EQ(1000u, r.entry[0].in_bytes);
}

TEST(HttpTracker, TheNextRangeOfTheSameVideoContinuesItsEntry) {
    Tracker t;
    t.send(KT_OUTBOUND, request(kTarget, "Range: bytes=0-999\r\n"));
    t.send(KT_INBOUND, response206(0, 999, 4000, 1000) + std::string(1000, 'a'));
    t.send(KT_OUTBOUND, request(kTarget, "Range: bytes=1000-\r\n"));
    t.send(KT_INBOUND, response206(1000, 3999, 4000, 3000) + std::string(500, 'b'));
    kt_report r = t.report();
    EXPECT_EQ(1u, r.valid_num);
    EXPECT_EQ(1000u, r.entry[0].range_start);
    EXPECT_EQ(500u, r.entry[0].in_bytes);
    // A new video takes the next entry and becomes the one under detection.
    t.send(KT_OUTBOUND, request("/video/m/q?rk=2&k=OTHER&z"));
    r = t.report();
    EXPECT_EQ(2u, r.valid_num);
    EXPECT_EQ(1u, r.cur_index);
    EXPECT_EQ(1u, r.detect_index);
    EXPECT_EQ(uint32_t(KORUN_DETECT_NEW), r.detect_state);
    EXPECT_STREQ("OTHER", r.entry[1].video);
}

TEST(HttpTracker, TheEntriesAreARingOfTen) {
    Tracker t;
    for (int i = 0; i < 13; ++i) t.send(KT_OUTBOUND, request("/video/m/a?rk=1&k=v" + std::to_string(i) + "&"));
    kt_report r = t.report();
    EXPECT_EQ(10u, r.valid_num);
    EXPECT_EQ(2u, r.cur_index);
    EXPECT_STREQ("v12", r.entry[2].video);
    EXPECT_STREQ("v3", r.entry[3].video);
}

TEST(HttpTracker, KeysNameTheVideoAsTheRecordSays) {
    struct Case {
        int type;
        std::string request;
        const char* video;  // nullptr: not followed
    } cases[] = {
            {100501, request("/video/m/abc?rk=1&k=K1&z"), "K1"},
            {100501, request("/video/m/path123?rk=1"), "path123"},
            {100501, request("/video/m/p?rk=1&k=K2&", "Vpwp-Key: HEADERKEY\r\n"), "HEADERKEY"},
            {100501, request("/video/m/p?rk=1&k=K3&", "Vpwp-Type: preloader\r\n"), nullptr},
            {100501, request("/image/x?rk=1&k=K4&"), nullptr},
            {100501, "POST /video/m/p?rk=1&k=K5& HTTP/1.1\r\n\r\n", nullptr},
            {100501, request("/video/m/p?rk=1&k=averyveryveryverylongkeythatgoesonandonandon&"),
             "averyveryveryverylongkeythatgoesonandon"},
            {100701, request("/upic/2024/x_PIC7.mp4"), "PIC7"},
            {100701, request("/upic/2024/x_PIC7.jpg"), nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.request);
        Tracker t(c.type);
        t.send(KT_OUTBOUND, c.request);
        kt_report r = t.report();
        if (c.video == nullptr) {
            EXPECT_EQ(0u, r.valid_num);
        } else {
            ASSERT_EQ(1u, r.valid_num);
            EXPECT_STREQ(c.video, r.entry[0].video);
        }
    }
}

// Malformed or contradicting responses: the entry keeps nothing impossible.
TEST(HttpTracker, ContradictingOrAbsurdResponsesAreNotCounted) {
    const std::string req = request(kTarget, "Range: bytes=100-\r\n");
    struct Case {
        std::string name, response;
        uint64_t total;
        uint32_t inBytes;
    } cases[] = {
            {"agrees", response206(100, 199, 1000, 100) + std::string(100, 'a'), 1000, 100},
            {"range start differs from the request", response206(0, 99, 1000, 100) + std::string(100, 'a'), 0, 0},
            {"length contradicts the range", response206(100, 199, 1000, 50) + std::string(50, 'a'), 0, 0},
            {"end past the total", response206(100, 1999, 1000, 1900) + std::string(10, 'a'), 0, 0},
            {"absurd total", response206(100, 199, 99999999999999999ull, 100) + std::string(10, 'a'), 0, 0},
            {"absurd length", "HTTP/1.1 206 x\r\nContent-Length: 9999999999999999999999\r\n\r\nabc", 0, 0},
            {"no range in a 206", "HTTP/1.1 206 x\r\nContent-Length: 3\r\n\r\nabc", 0, 0},
            {"a 200 to a ranged request", "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc", 0, 0},
            {"an error status", "HTTP/1.1 404 No\r\nContent-Length: 3\r\n\r\nabc", 0, 0},
            {"not HTTP", "SSH-2.0-OpenSSH\r\n\r\n" + std::string(100, 'z'), 0, 0},
            {"garbage digits", "HTTP/1.1 206 x\r\nContent-Range: bytes 1x0-5/9\r\n\r\n", 0, 0},
            {"header block too long", "HTTP/1.1 206 x\r\nX: " + std::string(5000, 'h') + "\r\n\r\n", 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Tracker t;
        t.send(KT_OUTBOUND, req);
        t.send(KT_INBOUND, c.response, {7, 1, 30});
        kt_report r = t.report();
        ASSERT_EQ(1u, r.valid_num);
        EXPECT_EQ(c.total, r.entry[0].total);
        EXPECT_EQ(c.inBytes, r.entry[0].in_bytes);
        EXPECT_EQ(100u, r.entry[0].range_start);
    }
}

TEST(HttpTracker, TheMovieHeaderIsReadWhenWholeAndOnlyThen) {
    struct Case {
        std::string name, body;
        int32_t timescale, dur;
    } cases[] = {
            {"version 0", mp4Body(600, 33, 90000, 900000), 90000, 900000},
            {"truncated by the body's end", mp4Body(600, 590, 90000, 900000).substr(0, 600), 0, 0},
            {"zero timescale", mp4Body(600, 10, 0, 5), 0, 0},
            {"a day and more", mp4Body(600, 10, 1, 90000), 0, 0},
            {"none", std::string(600, 'm'), 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Tracker t;
        t.send(KT_OUTBOUND, request(kTarget));
        t.send(KT_INBOUND, "HTTP/1.1 200 OK\r\nContent-Length: 600\r\n\r\n" + c.body, {50, 3, 1, 1, 400});
        kt_report r = t.report();
        EXPECT_EQ(c.timescale, r.entry[0].timescale);
        EXPECT_EQ(c.dur, r.entry[0].dur);
        EXPECT_EQ(600u, r.entry[0].in_bytes);
    }
    // Version 1: 64-bit times, the timescale further in.
    std::string v1(600, 'x');
    const uint8_t box[] = {'m', 'v', 'h', 'd', 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0,
                           0, 2, 0, 0, 0x03, 0xe8, 0, 0, 0, 0, 0, 0, 0x27, 0x10};
    std::memcpy(&v1[200], box, sizeof(box));
    Tracker t;
    t.send(KT_OUTBOUND, request(kTarget));
    t.send(KT_INBOUND, "HTTP/1.1 200 OK\r\nContent-Length: 600\r\n\r\n" + v1);
    EXPECT_EQ(1000, t.report().entry[0].timescale);
    EXPECT_EQ(10000, t.report().entry[0].dur);
}

TEST(HttpTracker, UpdateStopsTheEntryUnderDetectionUntilTheNextVideo) {
    Tracker t;
    t.send(KT_OUTBOUND, request(kTarget));
    EXPECT_EQ(uint32_t(KORUN_DETECT_NEW), t.report().detect_state);
    EXPECT_EQ(-1, kt_update(t.get(), KORUN_STALL_INFO_ENTRIES, 0));
    EXPECT_EQ(0, kt_update(t.get(), 0, KORUN_DETECT_STOPPED));
    EXPECT_EQ(uint32_t(KORUN_DETECT_STOPPED), t.report().detect_state);
    t.send(KT_OUTBOUND, request("/video/m/z?rk=1&k=NEXT&"));
    kt_report r = t.report();
    EXPECT_EQ(1u, r.detect_index);
    EXPECT_EQ(uint32_t(KORUN_DETECT_NEW), r.detect_state);
}

TEST(HttpTracker, AResponseOnAFlowThatAskedNothingIsIgnored) {
    Tracker t;
    t.send(KT_INBOUND, response206(0, 9, 10, 10) + "0123456789");
    EXPECT_EQ(0u, t.report().valid_num);
    // Many flows at once: the oldest slot is taken over, nothing overflows.
    for (uint64_t flow = 1; flow <= 3 * KT_FLOWS; ++flow) {
        t.send(KT_OUTBOUND, request("/video/m/a?rk=1&k=f" + std::to_string(flow) + "&"), {}, flow);
    }
    EXPECT_EQ(10u, t.report().valid_num);
}

}  // namespace
