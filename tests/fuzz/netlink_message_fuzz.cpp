// Arbitrary bytes as one received netlink message, through every reading the
// toolkit offers, and as a reply of the QoE monitor.

#include <cstdint>
#include <cstring>
#include <vector>

#include "MessageParser.h"
#include "MonitorCommand.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Exactly the bytes received, so that any read past them is caught.
    const std::vector<uint8_t> received(data, data + size);
    (void)mqqoe::replyWords(received.data(), received.size());

    nl::Message message;
    if (!nl::Message::parse(received.data(), received.size(), &message)) return 0;
    genlmsghdr genl;
    int32_t error;
    (void)message.genlHeader(&genl);
    (void)message.errorCode(&error);
    nl::AttrWalker walker = message.genlAttrs();
    nl::Attr attr;
    while (walker.next(&attr)) {
        uint16_t u16;
        uint32_t u32;
        const char* text;
        uint8_t record[800];
        (void)attr.getU16(&u16);
        (void)attr.getU32(&u32);
        if (attr.getString(&text)) (void)std::strlen(text);
        (void)attr.getFixed(record, sizeof(record));
    }
    return 0;
}
