package com.android.server.qesta.sim;

import com.android.server.qesta.ZvQestaJniAdapter;
import com.android.server.qesta.testing.KernelEmulator;

import java.io.PrintStream;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Arrays;

/** The service's monitor and socket-policy commands, and what the kernel receives. */
public final class QoeChannelsScene {
    private QoeChannelsScene() {}

    public static void run(PrintStream out) {
        KernelEmulator.reset();
        KernelEmulator.setMonitorReply(true, new int[] {10, 11, 12, 13, 14, 15, 16, 17, 18, 19});
        ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();

        out.println("-- monitor channel (netlink 24)");
        show(out, "nativeSendQoeCmd(10, 0)  start monitor", adapter.nativeSendQoeCmd(10, 0));
        show(out, "nativeSendQoeCmd(23, 70000)  get QoE info", adapter.nativeSendQoeCmd(23, 70000));
        show(out, "nativeSendQoeCmd(19, 7)  get RTT", adapter.nativeSendQoeCmd(19, 7));
        show(out, "nativeSendQoeCmd(11, 0)  stop monitor", adapter.nativeSendQoeCmd(11, 0));
        for (byte[] message : KernelEmulator.sent(KernelEmulator.MONITOR)) {
            out.println("   kernel got " + header(message));
        }

        out.println("-- policy channel (netlink 25)");
        out.println(" nativeSetDpiMarkRule(7, 0x1FF, 1) = " + adapter.nativeSetDpiMarkRule(7, 0x1FF, 1));
        out.println(" nativeBindUidProcessToNetwork(100, 10123) = "
                + adapter.nativeBindUidProcessToNetwork(100, 10123));
        out.println(" nativeResetProcessSockets(10123) = " + adapter.nativeResetProcessSockets(10123));
        out.println(" nativeCloseProcessSockets(4242, 10123) = " + adapter.nativeCloseProcessSockets(4242, 10123));
        for (byte[] message : KernelEmulator.sent(KernelEmulator.POLICY)) {
            out.println("   kernel got " + header(message) + " payload " + payload(message));
        }
    }

    private static void show(PrintStream out, String call, int[] reply) {
        out.println(" " + call + " -> " + (reply == null ? "null" : Arrays.toString(reply)));
    }

    private static String header(byte[] message) {
        ByteBuffer b = ByteBuffer.wrap(message).order(ByteOrder.LITTLE_ENDIAN);
        return String.format("len=%d type=%d flags=%d seq=%d", b.getInt(0), b.getShort(4) & 0xffff,
                b.getShort(6) & 0xffff, b.getInt(8));
    }

    private static String payload(byte[] message) {
        StringBuilder text = new StringBuilder();
        for (int i = 16; i < message.length; i++) {
            text.append(String.format("%02x", message[i]));
            if (i % 4 == 3 && i + 1 < message.length) {
                text.append(' ');
            }
        }
        return text.length() == 0 ? "-" : text.toString();
    }
}
