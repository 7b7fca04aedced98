package com.android.server.qesta;

import static java.nio.charset.StandardCharsets.UTF_8;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.File;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
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
 * headless Chromium, and its
 * one-line errors for bad input.
 */
class SimulatorReportTest {
    private static final String SIMULATOR = System.getProperty("mqqoe.simulator", "");
    private static final Path EXAMPLES = Path.of(System.getProperty("mqqoe.source", ""), "tools/simulator/examples");
    private static final Path CHROMIUM = Path.of("/usr/bin/chromium");
    private static final long RUN_WAIT_S = 120;
    // Loads a report in a frame and, once everything has loaded, writes per image its src, whether it is
    // complete, its natural width and height and the size the page gives it.
    private static final String PROBE = "<!DOCTYPE html><html><body><iframe id=\"r\" src=\"%s\"></iframe>"
            + "<pre id=\"out\"></pre><script>window.onload = () => { document.getElementById('out').textContent ="
            + " Array.from(document.getElementById('r').contentDocument.images).map(i => [i.getAttribute('src'),"
            + " i.complete, i.naturalWidth, i.naturalHeight, i.getAttribute('width'), i.getAttribute('height')]"
            + ".join(' ')).join(';'); };</script></body></html>";

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
        assumeTrue(Files.isExecutable(CHROMIUM), "chromium not installed");
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

        for (Map.Entry<Path, Integer> page : pages.entrySet()) {
            String[] images = imagesOf(page.getKey()).split(";");
            assertEquals(page.getValue(), images.length, page + ": " + String.join(";", images));
            for (String image : images) {
                String[] f = image.split(" ");
                assertEquals("true", f[1], page + ": " + image + " did not load");
                assertEquals(f[4] + " " + f[5], f[2] + " " + f[3], page + ": " + image + " drawn at another size");
                assertTrue(Integer.parseInt(f[2]) >= 800, image);
            }
        }
    }

    /** What the probe page says of {@code page}'s images once headless Chromium has loaded it. */
    private String imagesOf(Path page) throws IOException, InterruptedException {
        Path probe = Files.writeString(page.resolveSibling("probe.html"), String.format(PROBE, page.getFileName()));
        // Headless as root, with a fresh profile and nothing that reaches out to the network.
        ProcessBuilder builder = new ProcessBuilder(CHROMIUM.toString(), "--headless", "--no-sandbox", "--disable-gpu",
                "--no-first-run", "--disable-background-networking", "--disable-component-update", "--disable-sync",
                "--user-data-dir=" + dir.resolve("profile"), "--allow-file-access-from-files", "--dump-dom",
                probe.toUri().toString()).redirectOutput(dir.resolve("dom.html").toFile())
                .redirectError(ProcessBuilder.Redirect.DISCARD);
        builder.environment().remove("LD_PRELOAD");  // Chromium without the kernel emulator
        Process chromium = builder.start();
        assertTrue(chromium.waitFor(RUN_WAIT_S, TimeUnit.SECONDS), "chromium still running");
        Files.delete(probe);
        String dom = Files.readString(dir.resolve("dom.html"));
        Matcher out = Pattern.compile("<pre id=\"out\">([^<]*)</pre>").matcher(dom);
        assertTrue(out.find(), dom);
        return out.group(1);
    }

    /** Runs with a report in {@code dir}/report unless the case names its own. */
    private Run withReport(List<String> args) throws IOException, InterruptedException {
        List<String> all = new ArrayList<>(args);
        if (!all.contains("--report")) {
            all.addAll(List.of("--report", dir.resolve("report").toString()));
        }
        return simulator(all.toArray(new String[0]));
    }

    @Test
    void badInputGivesOneLineAndNoReport() throws Exception {
        Path bad = Files.writeString(dir.resolve("bad.csv"), "in_pkts,out_pkts,in_bytes,out_bytes\n1,2,3,4\n5,x,7,8\n");
        Path badUji = Files.writeString(dir.resolve("bad-uji.csv"), "WAP001,WAP002,LONGITUDE,LATITUDE,FLOOR,"
                + "BUILDINGID,PHONEID,TIMESTAMP\n-50,100,1,2,0,0,1,10\n-50,101,1,2,0,0,1,20\n");
        Path latin1 = Files.write(dir.resolve("latin1.csv"),
                "in_pkts,out_pkts,in_bytes,out_bytes\n1,2,3,4\n1,2,\u00e93,4\n".getBytes(StandardCharsets.ISO_8859_1));
        Path unordered = Files.writeString(dir.resolve("frames.csv"), "t_ms,result\n3000,2\n1000,4\n");
        Path rows = Files.writeString(dir.resolve("rows.csv"), "orginBatch,batch,label,timestamp,link_speed,"
                + "aa:bb\n7,7,0,0,0,-50\n8,8,0,0,0,-60\n");
        Path emptyTruth = Files.writeString(dir.resolve("empty-truth.txt"), "\n");
        Path strangerTruth = Files.writeString(dir.resolve("stranger-truth.txt"), "41 p1\n42 p2\n");
        Path aFile = Files.writeString(dir.resolve("plain.txt"), "x");
        String trace = EXAMPLES.resolve("video-call.csv").toString();
        String[][] cases = {
            {"--trace " + dir.resolve("missing.csv") + ": no such file", "stall", "--scene", "100106", "--trace",
                dir.resolve("missing.csv").toString()},
            {"--trace " + dir + ": is a folder, not a file", "stall", "--scene", "100106", "--trace", dir.toString()},
            {bad + ":3:2: out_pkts 'x'", "stall", "--scene", "100106", "--trace", bad.toString()},
            {latin1 + ":3:5: byte 0xE9 is not UTF-8", "stall", "--scene", "100106", "--trace", latin1.toString()},
            {unordered + ":3:1: t_ms 1000 comes before the 3000", "stall", "--scene", "100106", "--trace", trace,
                "--frames", unordered.toString()},
            {"--scene 4242: unknown scene", "stall", "--scene", "4242", "--trace", trace},
            {"--interval 300: the library asks for a report every 2000 ms", "stall", "--scene", "100106",
                "--interval", "300", "--trace", trace},
            {"short-video.csv:1:1: expected column 'in_pkts'", "stall", "--scene", "100105", "--trace",
                EXAMPLES.resolve("short-video.csv").toString()},
            {"--trace needs a value", "stall", "--scene", "100106", "--trace", "--frames", trace},
            {"unknown parameter 'nClusterz=3'", "cluster", "--rows", trace, "--param", "nClusterz=3"},
            {badUji + ":3:2: WAP002 '101' is not a whole number", "cluster", "--uji", badUji.toString()},
            {emptyTruth + ":1:1: no 'batch place' lines", "cluster", "--rows", rows.toString(), "--truth",
                emptyTruth.toString()},
            {strangerTruth + ":1:1: names no batch of the rows", "cluster", "--rows", rows.toString(), "--truth",
                strangerTruth.toString()},
            {"unknown option '--tracee'", "stall", "--scene", "100106", "--tracee", trace},
            {"is not a report folder", "--report", dir.toString()},  // holds other files: never replaced
            {"--report " + aFile.resolve("report") + ": cannot write there", "--report",
                aFile.resolve("report").toString()},
        };
        for (String[] c : cases) {
            Run run = withReport(List.of(c).subList(1, c.length));
            assertEquals(2, run.exitCode(), c[0] + ": " + run.err());
            assertTrue(run.err().startsWith("simulator: ") && run.err().contains(c[0]), run.err());
            assertEquals(1, run.err().lines().count(), run.err());
            assertFalse(run.out().contains("nativeSendQoeStallDetectCmd"), "the run started: " + run.out());
        }
        assertFalse(Files.exists(dir.resolve("report")));
        assertTrue(Files.exists(bad));
        try (var left = Files.list(dir)) {
            assertTrue(left.noneMatch(p -> p.getFileName().toString().startsWith(".report")), "temporary folder left");
        }
    }

    @Test
    void inputTheRunDoesNotUseIsAWarningAndANoteInTheReport() throws Exception {
        Path odd = Files.writeString(dir.resolve("odd.csv"), "in_pkts,out_pkts,in_bytes,out_bytes\n"
                + "60,30,12000,3000\n".repeat(5));
        Path late = Files.writeString(dir.resolve("late.csv"), "t_ms,result\n1000,4\n90000,4\n95000,2\n");
        Path rows = Files.writeString(dir.resolve("rows.csv"), "orginBatch,batch,label,timestamp,link_speed,"
                + "aa:bb,cc:dd\n7,7,0,0,0,-50,-70\n8,8,0,0,0,-60,-40\n");
        Path partTruth = Files.writeString(dir.resolve("truth.txt"), "7 p1\n99 p2\n");
        String trace = EXAMPLES.resolve("video-call.csv").toString();
        String[][] cases = {
            {odd + ":6: the last 1 row(s) do not fill a 2000 ms report", "stall", "--scene", "100106", "--interval",
                "1000", "--trace", odd.toString()},
            {late + ":3: 2 frame result(s) from this line on come at or after the trace's end", "stall", "--scene",
                "100106", "--trace", trace, "--frames", late.toString()},
            {"only scene 100106 has a frame-detection rule", "stall", "--scene", "100105", "--trace", trace,
                "--frames", late.toString()},
            {"--param nClusters=12: the library accepts this key, but no pipeline reads it", "cluster", "--rows",
                rows.toString(), "--param", "nClusters=12"},
            {partTruth + ":2: 1 line(s) name a batch the rows do not have", "cluster", "--rows", rows.toString(),
                "--truth", partTruth.toString()},
            {partTruth + ": 1 batch(es) of the rows have no place here", "cluster", "--rows", rows.toString(),
                "--truth", partTruth.toString()},
        };
        for (String[] c : cases) {
            Run run = withReport(List.of(c).subList(1, c.length));
            assertEquals(0, run.exitCode(), run.err());
            assertTrue(run.err().lines().anyMatch(line -> line.startsWith("simulator: warning: ") && line.contains(c[0])),
                    c[0] + " not in: " + run.err());
            assertTrue(Files.readString(dir.resolve("report/index.html")).contains(c[0]), c[0]);  // none needs escaping
        }
        // The last run's batches: each with its true place (none for 8) and a cluster per pipeline.
        List<String> batches = Files.readAllLines(dir.resolve("report/batches.csv"));
        assertEquals(3, batches.size(), batches.toString());
        assertTrue(batches.get(1).matches("7,p1,\\d+,\\d+") && batches.get(2).matches("8,,\\d+,\\d+"), batches.toString());
    }

    @Test
    void episodesOfATraceWithKnownStallsAreItsSilences() throws Exception {
        // 2000 ms reports, N = 3: five silent reports from t=8 s, four from t=22 s.
        String healthy = "110,55,24000,6000\n";
        String silent = "0,0,0,0\n";
        Path trace = Files.writeString(dir.resolve("stalls.csv"), "in_pkts,out_pkts,in_bytes,out_bytes\n"
                + healthy.repeat(3) + silent.repeat(5) + healthy.repeat(2) + silent.repeat(4) + healthy);
        Run run = withReport(List.of("stall", "--scene", "100106", "--trace", trace.toString()));
        assertEquals(0, run.exitCode(), run.err());
        assertEquals(List.of("rule,start_ms,end_ms,duration_ms,detected_ms,callbacks,values",
                "no-traffic rule,6000,16000,10000,12000,3,1", "no-traffic rule,20000,28000,8000,26000,2,1"),
                Files.readAllLines(dir.resolve("report/stall-episodes.csv")));
        String page = Files.readString(dir.resolve("report/index.html"));
        assertTrue(page.contains("2 episode(s) in 15 reports (30 s), 5 callback(s)"), page);
        assertTrue(page.contains("no-traffic rule: 2 episode(s), 18 s in all, longest 10 s"), page);
        assertEquals(16, Files.readAllLines(dir.resolve("report/stall.csv")).size());
        assertFalse(run.out().contains("*********"), "the library's standard output on the terminal");
    }

    @Test
    void everyToolAnswersHelp() throws Exception {
        String[][] simulatorCases = {
            {"--help", "stall", "cluster", "--report DIR", "Exit codes"},
            {"-h", "--verbose", "Korun"},
            {"stall --help", "in_pkts,out_pkts,in_bytes,out_bytes", "detect_state", "t_ms", "100106", "--interval MS"},
            {"cluster --help", "orginBatch,batch,label", "minFreq", "nClusters", "--truth FILE"},
        };
        for (String[] c : simulatorCases) {
            Run run = simulator(c[0].split(" "));
            assertEquals(0, run.exitCode(), c[0] + ": " + run.err());
            for (String text : List.of(c).subList(1, c.length)) {
                assertTrue(run.out().contains(text), c[0] + " lacks " + text + ":\n" + run.out());
            }
        }
        Path source = Path.of(System.getProperty("mqqoe.source", ""));
        Path gen = Path.of(System.getProperty("mqqoe.bindir", ""), "tools/fingerprints/fingerprint_gen");
        List<List<String>> tools = List.of(List.of(gen.toString(), "--help"),
                List.of(source.resolve("tools/run-tests.sh").toString(), "--help"),
                List.of(source.resolve("tools/setup-deps.sh").toString(), "--help"),
                List.of(source.resolve("tools/coverage.sh").toString(), "--help"),
                List.of(source.resolve("tools/mutants.sh").toString(), "--help"));
        for (List<String> tool : tools) {
            Process process = new ProcessBuilder(tool).redirectErrorStream(true).start();
            String text = new String(process.getInputStream().readAllBytes(), UTF_8);
            assertTrue(process.waitFor(RUN_WAIT_S, TimeUnit.SECONDS), tool.toString());
            assertEquals(0, process.exitValue(), tool + ": " + text);
            assertTrue(text.lines().count() >= 3, tool + ": " + text);
        }
        Process unknown = new ProcessBuilder(source.resolve("tools/run-tests.sh").toString(), "--everything")
                .redirectErrorStream(true).start();
        assertTrue(unknown.waitFor(RUN_WAIT_S, TimeUnit.SECONDS));
        assertEquals(2, unknown.exitValue());
    }
}
