package com.android.server.qesta.sim;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.attribute.PosixFilePermissions;
import java.util.ArrayList;
import java.util.Comparator;
import java.util.List;
import java.util.stream.Stream;

import org.jfree.chart.JFreeChart;

/**
 * The run's HTML page with its PNG charts. It is written into a fresh folder
 * beside the target and renamed into place at the end, so a failed run leaves
 * the previous report, never half of a new one.
 */
final class Report {
    private record Chart(String file, JFreeChart chart, int width, int height) {}

    private static final String STYLE = "body{font-family:sans-serif;margin:2em;max-width:1100px}"
            + "table{border-collapse:collapse;margin:.5em 0 1.5em}td,th{border:1px solid #ccc;padding:2px 6px;"
            + "text-align:left;vertical-align:top;font-size:90%}th{background:#eee}img{display:block;margin:1em 0}"
            + "code{font-size:90%}";

    private final StringBuilder mBody = new StringBuilder();
    private final List<Chart> mCharts = new ArrayList<>();

    static String escape(String text) {
        return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace("\"", "&quot;");
    }

    void heading(String text) {
        mBody.append("<h2>").append(escape(text)).append("</h2>\n");
    }

    void subheading(String text) {
        mBody.append("<h3>").append(escape(text)).append("</h3>\n");
    }

    void paragraph(String text) {
        mBody.append("<p>").append(escape(text)).append("</p>\n");
    }

    void table(List<String> head, List<List<String>> rows) {
        mBody.append("<table>\n<tr>");
        head.forEach(cell -> mBody.append("<th>").append(escape(cell)).append("</th>"));
        mBody.append("</tr>\n");
        for (List<String> row : rows) {
            mBody.append("<tr>");
            row.forEach(cell -> mBody.append("<td>").append(escape(cell).replace("\n", "<br>")).append("</td>"));
            mBody.append("</tr>\n");
        }
        mBody.append("</table>\n");
    }

    /** A chart drawn to {@code width} x {@code height} pixels, shown at that size. */
    void chart(JFreeChart chart, int width, int height, String alt) {
        String file = "chart" + (mCharts.size() + 1) + ".png";
        mCharts.add(new Chart(file, chart, width, height));
        mBody.append(String.format("<img src=\"%s\" width=\"%d\" height=\"%d\" alt=\"%s\">%n", file, width, height,
                escape(alt)));
    }

    /**
     * Fails unless {@code dir} is new or an earlier report (nothing but a page
     * and charts), which is all a run may replace.
     */
    static void checkTarget(Path dir) throws IOException {
        if (!Files.exists(dir)) {
            return;
        }
        if (Files.isDirectory(dir)) {
            try (Stream<Path> entries = Files.list(dir)) {
                if (entries.map(p -> p.getFileName().toString())
                        .allMatch(name -> name.equals("index.html") || name.matches("chart[0-9]+\\.png"))) {
                    return;
                }
            }
        }
        throw new SimulatorError(dir + ": exists and is not a report folder; give a new or earlier report's folder");
    }

    /** Writes the page and its charts as {@code dir}, replacing an earlier report there; returns the page. */
    Path write(Path dir, String title) throws IOException {
        checkTarget(dir);
        Path target = dir.toAbsolutePath().normalize();
        Files.createDirectories(target.getParent());
        Path fresh = Files.createTempDirectory(target.getParent(), "." + target.getFileName() + ".new-");
        try {
            Files.setPosixFilePermissions(fresh, PosixFilePermissions.fromString("rwxr-xr-x"));
            List<ChartPainter.Job> jobs = new ArrayList<>();
            for (Chart chart : mCharts) {
                jobs.add(new ChartPainter.Job(fresh.resolve(chart.file()), chart.chart(), chart.width(),
                        chart.height()));
            }
            ChartPainter.paint(jobs, fresh);
            String page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + escape(title)
                    + "</title><style>" + STYLE + "</style></head>\n<body>\n<h1>" + escape(title) + "</h1>\n" + mBody
                    + "</body></html>\n";
            Files.writeString(fresh.resolve("index.html"), page, StandardCharsets.UTF_8);
            Path old = null;
            if (Files.exists(target)) {
                old = Files.createTempDirectory(target.getParent(), "." + target.getFileName() + ".old-");
                Files.delete(old);
                Files.move(target, old, StandardCopyOption.ATOMIC_MOVE);
            }
            Files.move(fresh, target, StandardCopyOption.ATOMIC_MOVE);
            deleteTree(old);
        } catch (IOException | RuntimeException e) {
            deleteTree(fresh);
            throw e;
        }
        return target.resolve("index.html");
    }

    static void deleteTree(Path dir) {
        if (dir == null || !Files.exists(dir)) {
            return;
        }
        try (Stream<Path> paths = Files.walk(dir)) {
            paths.sorted(Comparator.reverseOrder()).forEach(p -> p.toFile().delete());
        } catch (IOException e) {
            // Best effort: what is left is a hidden folder beside the report.
        }
    }
}
