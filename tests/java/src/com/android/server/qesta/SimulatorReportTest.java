package com.android.server.qesta;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.File;
import java.io.IOException;
import java.net.ServerSocket;
import java.net.URI;
import java.net.http.HttpClient;
import java.net.http.HttpRequest;
import java.net.http.HttpResponse;
import java.nio.file.Files;
import java.nio.file.Path;
import java.time.Duration;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import java.util.regex.Matcher;
import java.util.regex.Pattern;

import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.Timeout;
import org.junit.jupiter.api.io.TempDir;

/**
 * The host simulator as its users meet it: the report it writes, opened in
 * headless Chromium through ChromeDriver's WebDriver protocol, and its
 * one-line errors for bad input.
 */
class SimulatorReportTest {
    private static final String SIMULATOR = System.getProperty("mqqoe.simulator", "");
    private static final Path EXAMPLES = Path.of(System.getProperty("mqqoe.source", ""), "tools/simulator/examples");
    private static final Path CHROMIUM = Path.of("/usr/bin/chromium");
    private static final Path CHROMEDRIVER = Path.of("/usr/bin/chromedriver");
    private static final Duration HTTP_WAIT = Duration.ofSeconds(60);
    private static final long RUN_WAIT_S = 120;
    // src, loaded, natural width and height, then the size the page gives it, per image.
    private static final String IMAGES = "return Array.from(document.images).map(i => [i.getAttribute('src'),"
            + " i.complete, i.naturalWidth, i.naturalHeight, i.getAttribute('width'), i.getAttribute('height')]"
            + ".join(' ')).join(';')";

    @TempDir Path dir;

    private record Run(int exitCode, String out, String err) {}

    private Run simulator(String... args) throws IOException, InterruptedException {
        List<String> command = new ArrayList<>(List.of(SIMULATOR));
        command.addAll(List.of(args));
        ProcessBuilder builder = new ProcessBuilder(command).redirectOutput(dir.resolve("out.txt").toFile())
                .redirectError(dir.resolve("err.txt").toFile());
        Process process = builder.start();
        assertTrue(process.waitFor(RUN_WAIT_S, TimeUnit.SECONDS), "simulator still running");
        return new Run(process.exitValue(), Files.readString(dir.resolve("out.txt")),
                Files.readString(dir.resolve("err.txt")));
    }

    @Test
    @Timeout(240)  // inside the CTest limit, so that a hang fails here with a stack
    void everyChartOfTheReportLoadsInTheBrowserAtItsSize() throws Exception {
        assumeTrue(Files.isExecutable(CHROMIUM) && Files.isExecutable(CHROMEDRIVER), "chromium not installed");
        // Each page and its charts: the demo's timeline and two clusterings, one timeline, two maps.
        Map<Path, Integer> pages = new LinkedHashMap<>();
        Path demo = dir.resolve("demo");
        Run run = simulator("--report", demo.toString());
        assertEquals(0, run.exitCode(), run.err());
        assertTrue(run.out().endsWith("report: " + demo.resolve("index.html") + "\n"), run.out());
        pages.put(demo.resolve("index.html"), 3);
        Path stall = dir.resolve("stall");
        run = simulator("stall", "--scene", "100501", "--trace", EXAMPLES.resolve("short-video.csv").toString(),
                "--report", stall.toString());
        assertEquals(0, run.exitCode(), run.out() + run.err());
        pages.put(stall.resolve("index.html"), 1);
        File uji = new File(System.getProperty("mqqoe.shared", ""), "data/ujiindoorloc/ValidationData.csv");
        if (uji.isFile()) {  // the scans on their map
            assertEquals(0, simulator("cluster", "--uji", uji.getPath(), "--report", dir.resolve("uji").toString())
                    .exitCode());
            pages.put(dir.resolve("uji/index.html"), 2);
        }

        try (ChromeDriver driver = new ChromeDriver(dir.resolve("profile"))) {
            for (Map.Entry<Path, Integer> page : pages.entrySet()) {
                driver.open(page.getKey().toUri().toString());
                String[] images = driver.script(IMAGES).split(";");
                assertEquals(page.getValue(), images.length, page + ": " + String.join(";", images));
                for (String image : images) {
                    String[] f = image.split(" ");
                    assertEquals("true", f[1], page + ": " + image + " did not load");
                    assertEquals(f[4] + " " + f[5], f[2] + " " + f[3], page + ": " + image + " drawn at another size");
                    assertTrue(Integer.parseInt(f[2]) >= 800, image);
                }
            }
        }
    }

    @Test
    void badInputGivesOneLineAndNoReport() throws Exception {
        Path bad = Files.writeString(dir.resolve("bad.csv"), "in_pkts,out_pkts,in_bytes,out_bytes\n1,2,3,4\n5,x,7,8\n");
        Path badUji = Files.writeString(dir.resolve("bad-uji.csv"), "WAP001,WAP002,LONGITUDE,LATITUDE,FLOOR,"
                + "BUILDINGID,PHONEID,TIMESTAMP\n-50,100,1,2,0,0,1,10\n-50,101,1,2,0,0,1,20\n");
        String trace = EXAMPLES.resolve("video-call.csv").toString();
        String[][] cases = {
            {"no such file", "stall", "--scene", "100106", "--trace", dir.resolve("missing.csv").toString()},
            {bad + ":3:2: out_pkts 'x'", "stall", "--scene", "100106", "--trace", bad.toString()},
            {"unknown scene 4242", "stall", "--scene", "4242", "--trace", trace},
            {"short-video.csv:1:1: expected column 'in_pkts'", "stall", "--scene", "100105", "--trace",
                EXAMPLES.resolve("short-video.csv").toString()},
            {"unknown parameter 'nClusterz=3'", "cluster", "--rows", trace, "--param", "nClusterz=3"},
            {badUji + ":3:2: WAP002 '101' is not a whole number", "cluster", "--uji", badUji.toString()},
            {"unknown option '--tracee'", "stall", "--scene", "100106", "--tracee", trace},
            {"is not a report folder", "--report", dir.toString()},  // holds other files: never replaced
        };
        Path report = dir.resolve("report");
        for (String[] c : cases) {
            List<String> args = new ArrayList<>(List.of(c).subList(1, c.length));
            if (!args.contains("--report")) {
                args.addAll(List.of("--report", report.toString()));
            }
            Run run = simulator(args.toArray(new String[0]));
            assertEquals(2, run.exitCode(), c[0]);
            assertTrue(run.err().startsWith("simulator: ") && run.err().contains(c[0]), run.err());
            assertEquals(1, run.err().lines().count(), run.err());
        }
        assertFalse(Files.exists(report));
        assertTrue(Files.exists(bad));
        try (var left = Files.list(dir)) {
            assertTrue(left.noneMatch(p -> p.getFileName().toString().startsWith(".report")), "temporary folder left");
        }
    }

    /** Headless Chromium driven over ChromeDriver's plain HTTP/JSON WebDriver protocol. */
    private static final class ChromeDriver implements AutoCloseable {
        private static final Pattern SESSION = Pattern.compile("\"sessionId\"\\s*:\\s*\"([^\"]+)\"");
        private static final Pattern VALUE = Pattern.compile("\"value\"\\s*:\\s*\"((?:[^\"\\\\]|\\\\.)*)\"");

        private final HttpClient mHttp = HttpClient.newBuilder().connectTimeout(HTTP_WAIT).build();
        private final Process mDriver;
        private final String mBase;
        private String mSession;

        ChromeDriver(Path profile) throws Exception {
            int port;
            try (ServerSocket socket = new ServerSocket(0)) {
                port = socket.getLocalPort();
            }
            mBase = "http://127.0.0.1:" + port;
            ProcessBuilder builder = new ProcessBuilder(CHROMEDRIVER.toString(), "--port=" + port)
                    .redirectErrorStream(true).redirectOutput(ProcessBuilder.Redirect.DISCARD);
            builder.environment().remove("LD_PRELOAD");  // Chromium without the kernel emulator
            mDriver = builder.start();
            long deadline = System.nanoTime() + HTTP_WAIT.toNanos();
            while (!ready()) {
                assertTrue(System.nanoTime() < deadline, "chromedriver did not come up");
                Thread.sleep(100);
            }
            // Headless as root, with a fresh profile and nothing that reaches out to the network.
            String args = String.join("\",\"", "--headless", "--no-sandbox", "--disable-gpu", "--no-first-run",
                    "--disable-background-networking", "--disable-component-update", "--disable-sync",
                    "--user-data-dir=" + profile);
            String reply = send("POST", "/session", "{\"capabilities\":{\"alwaysMatch\":{\"browserName\":\"chrome\","
                    + "\"goog:chromeOptions\":{\"binary\":\"" + CHROMIUM + "\",\"args\":[\"" + args + "\"]}}}}");
            Matcher session = SESSION.matcher(reply);
            assertTrue(session.find(), reply);
            mSession = "/session/" + session.group(1);
        }

        private boolean ready() {
            try {
                return send("GET", "/status", null).contains("\"ready\":true");
            } catch (IOException e) {
                return false;
            } catch (InterruptedException e) {
                Thread.currentThread().interrupt();
                return false;
            }
        }

        void open(String url) throws Exception {
            send("POST", mSession + "/url", "{\"url\":\"" + url + "\"}");
        }

        String script(String body) throws Exception {
            String reply = send("POST", mSession + "/execute/sync", "{\"script\":\"" + body + "\",\"args\":[]}");
            Matcher value = VALUE.matcher(reply);
            assertTrue(value.find(), reply);
            return value.group(1);
        }

        private String send(String method, String path, String json) throws IOException, InterruptedException {
            HttpRequest.Builder request = HttpRequest.newBuilder(URI.create(mBase + path)).timeout(HTTP_WAIT);
            request = json == null ? request.GET()
                    : request.method(method, HttpRequest.BodyPublishers.ofString(json, UTF_8))
                            .header("Content-Type", "application/json");
            return mHttp.send(request.build(), HttpResponse.BodyHandlers.ofString(UTF_8)).body();
        }

        @Override
        public void close() throws Exception {
            try {
                if (mSession != null) {
                    send("DELETE", mSession, "");
                }
            } finally {
                mDriver.destroy();
                if (!mDriver.waitFor(10, TimeUnit.SECONDS)) {
                    mDriver.destroyForcibly();
                }
            }
        }
    }
}
