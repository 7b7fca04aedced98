package com.android.server.qesta;

import static java.nio.charset.StandardCharsets.UTF_8;
import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertFalse;
import static org.junit.jupiter.api.Assertions.assertTrue;
import static org.junit.jupiter.api.Assumptions.assumeTrue;

import java.io.File;
import java.io.IOException;
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
}
