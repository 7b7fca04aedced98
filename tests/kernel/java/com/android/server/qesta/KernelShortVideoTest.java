package com.android.server.qesta;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.net.Socket;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.List;
import java.util.concurrent.TimeUnit;

import org.junit.jupiter.api.AfterAll;
import org.junit.jupiter.api.AfterEach;
import org.junit.jupiter.api.BeforeAll;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.params.ParameterizedTest;
import org.junit.jupiter.params.provider.ValueSource;

/**
 * Short videos end to end in the test VM: a player under the app uid fetches
 * MP4s over real HTTP from a server in the peer namespace, the stall module
 * follows the requests and responses with the session's search keys, and
 * the library's detector decides. Played at full speed nothing stalls;
 * throttled with tc below the videos' bit rate, the stall reaches Java
 * through handleReportStallInfo.
 */
class KernelShortVideoTest {
    private static final int START = 24;
    private static final int STOP = 25;
    private static final int UID = 10123;
    private static final String SERVER = "10.77.0.2";
    private static final String PORT = "8080";
    // The detector's defaults, one per nibble: m1s 3, mR1s 4, m2s 2, mR2s 3, then 1s.
    private static final int AWEME_DEFAULTS = 0x11113243;
    private static final int VIDEOS = 2;
    // Report intervals run this many times faster than real time; the player keeps pace.
    private static final String SPEED = "4";
    private static final Path DIVISOR = Path.of("/sys/module/zvkorun/parameters/time_divisor");
    private static final Path SOURCE = Path.of(System.getProperty("mqqoe.video"));
    // The player runs as the app uid, which may not read a checkout under a
    // private folder: both scripts are copied where it can.
    private static final Path COPIES = Path.of("/run/kernel-short-video");
    private static final String SCRIPT = COPIES.resolve("short_video.py").toString();

    private record Callback(int value, int scene, int kind, boolean flag) {}

    private final ZvQestaJniAdapter adapter = new ZvQestaJniAdapter();
    private final List<Callback> callbacks = new ArrayList<>();
    private final List<Process> processes = new ArrayList<>();
    private static String savedDivisor;

    private static void run(String... command) throws Exception {
        Process process = new ProcessBuilder(command).inheritIO().start();
        assertTrue(process.waitFor(10, TimeUnit.SECONDS), String.join(" ", command));
        assertEquals(0, process.exitValue(), String.join(" ", command));
    }

    @BeforeAll
    static void pace() throws Exception {
        Files.createDirectories(COPIES);
        Files.setPosixFilePermissions(COPIES, PosixFilePermissions.fromString("rwxr-xr-x"));
        Path writer = SOURCE.getParent().resolve("../../../tools/simulator/vm/video_replay.py").normalize();
        for (Path script : List.of(SOURCE, writer)) {
            Path copy = Files.copy(script, COPIES.resolve(script.getFileName()), StandardCopyOption.REPLACE_EXISTING);
            Files.setPosixFilePermissions(copy, PosixFilePermissions.fromString("rw-r--r--"));
        }
        savedDivisor = Files.readString(DIVISOR).trim();
        Files.writeString(DIVISOR, SPEED);
    }

    @BeforeEach
    void serve() throws Exception {
        ZvQestaJniAdapter.setStallListener((value, scene, kind, flag) -> {
            synchronized (callbacks) {
                callbacks.add(new Callback(value, scene, kind, flag));
            }
        });
        processes.add(new ProcessBuilder("ip", "netns", "exec", "peer", "/usr/bin/python3", SCRIPT, "serve", PORT)
                .inheritIO().start());
        // The server makes its videos first: wait until it answers.
        long deadline = System.currentTimeMillis() + 30_000;
        while (true) {
            try (Socket probe = new Socket()) {
                probe.connect(new InetSocketAddress(SERVER, Integer.parseInt(PORT)), 1000);
                return;
            } catch (IOException notYet) {
                assertTrue(System.currentTimeMillis() < deadline, "the video server did not start");
                Thread.sleep(100);
            }
        }
    }

    @AfterEach
    void cleanUp() throws Exception {
        adapter.nativeSendQoeStallDetectCmd(STOP, UID, 0, 0, 0);
        new ProcessBuilder("ip", "netns", "exec", "peer", "tc", "qdisc", "del", "dev", "eth0", "root")
                .start().waitFor(10, TimeUnit.SECONDS);
        for (Process process : processes) {
            process.destroyForcibly().waitFor(10, TimeUnit.SECONDS);
        }
        ZvQestaJniAdapter.setStallListener(null);
    }

    @AfterAll
    static void restorePace() throws Exception {
        Files.writeString(DIVISOR, savedDivisor);
    }

    /** Watches VIDEOS videos as the app uid; the stalls reported meanwhile (flag false: the generic rule). */
    private List<Callback> watch(int scene) throws Exception {
        // The last test's worker ends with its next report; until then a start is refused.
        long deadline = System.currentTimeMillis() + 10_000;
        while (adapter.nativeSendQoeStallDetectCmd(START, UID, scene, AWEME_DEFAULTS, 0) != 0) {
            assertTrue(System.currentTimeMillis() < deadline, "the last session did not end");
            Thread.sleep(50);
        }
        Thread.sleep(500);  // the server and the session are up
        Process player = new ProcessBuilder("setpriv", "--reuid=" + UID, "--regid=" + UID, "--clear-groups",
                "/usr/bin/python3", SCRIPT, "play", SERVER + ":" + PORT, Integer.toString(scene), Integer.toString(VIDEOS), SPEED)
                .inheritIO().start();
        processes.add(player);
        assertTrue(player.waitFor(120, TimeUnit.SECONDS), "the player did not finish");
        assertEquals(0, player.exitValue());
        Thread.sleep(1000);  // the last video's last reports
        synchronized (callbacks) {
            return callbacks.stream().filter(c -> !c.flag()).toList();
        }
    }

    @ParameterizedTest
    @ValueSource(ints = {100501, 100901})
    void videosThatLoadFasterThanTheyPlayNeverStall(int scene) throws Exception {
        assertEquals(List.of(), watch(scene));
    }

    @ParameterizedTest
    @ValueSource(ints = {100501, 100901, 100701})
    void videosThrottledBelowTheirBitRateStall(int scene) throws Exception {
        // A tenth of what playback at this speed needs, on the server's side of the link.
        run("ip", "netns", "exec", "peer", "tc", "qdisc", "add", "dev", "eth0", "root",
                "tbf", "rate", "200kbit", "burst", "16kb", "limit", "4mb");
        List<Callback> stalls = watch(scene);
        assertTrue(stalls.contains(new Callback(0, scene, 0, false)), stalls::toString);
    }
}
