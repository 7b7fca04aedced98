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
 * The run's HTML page with its PNG charts and the CSV files beside it. The
 * folder is made fresh beside the target when the run starts (so an
 * unwritable place fails before any work) and renamed into place at the
 * end, so a failed run leaves the previous report, never half of a new one.
 */
final class Report {
    private record Chart(String file, JFreeChart chart, int width, int height) {}

    private static final String STYLE = "body{font-family:sans-serif;margin:2em;max-width:1100px}"
            + "table{border-collapse:collapse;margin:.5em 0 1.5em}td,th{border:1px solid #ccc;padding:2px 6px;"
            + "text-align:left;vertical-align:top;font-size:90%}th{background:#eee}img{display:block;margin:1em 0}"
            + "code{font-size:90%}.summary{background:#f6f8fa;border:1px solid #d0d7de;padding:.5em 1em;"
            + "margin:1em 0}.warn{background:#fff8c5;border:1px solid #d4a72c;padding:.5em 1em}"
            + "details pre{font-size:80%;max-height:40em;overflow:auto}";
    // A report folder holds only what a run writes, so that replacing it never deletes anything else.
    private static final String OWN_FILES = "index\\.html|chart[0-9]+\\.png|[a-z0-9-]+\\.csv|library-output\\.txt";

    private final StringBuilder mBody = new StringBuilder();
    private final List<Chart> mCharts = new ArrayList<>();
    private final Path mTarget;
    private final Path mFresh;

    private Report(Path target, Path fresh) {
        mTarget = target;
        mFresh = fresh;
    }

    /** Checks the target folder and makes the fresh one beside it; a bad place is the user's error. */
    static Report open(Path dir) {
        checkTarget(dir);
        Path target = dir.toAbsolutePath().normalize();
        try {
            Files.createDirectories(target.getParent());
            Path fresh = Files.createTempDirectory(target.getParent(), "." + target.getFileName() + ".new-");
            Files.setPosixFilePermissions(fresh, PosixFilePermissions.fromString("rwxr-xr-x"));
            return new Report(target, fresh);
        } catch (IOException e) {
            throw new SimulatorError("--report " + dir + ": cannot write there: " + SimulatorError.describe(e));
        }
    }

    static String escape(String text) {
        return text.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;").replace("\"", "&quot;");
    }

    /** A file written beside the page; its name must match {@link #OWN_FILES}. */
    Path sidecar(String name) {
        return mFresh.resolve(name);
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

    /** A boxed block of lines: the summary at the top of a section. */
    void summary(List<String> lines) {
        mBody.append("<div class=\"summary\">");
        lines.forEach(line -> mBody.append("<p>").append(escape(line)).append("</p>"));
        mBody.append("</div>\n");
    }

    void link(String text, String file) {
        mBody.append("<p><a href=\"").append(escape(file)).append("\">").append(escape(text)).append("</a></p>\n");
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

    /** A collapsed block of preformatted lines. */
    void details(String summary, List<String> lines) {
        mBody.append("<details><summary>").append(escape(summary)).append("</summary><pre>");
        lines.forEach(line -> mBody.append(escape(line)).append('\n'));
        mBody.append("</pre></details>\n");
    }

    /** A chart drawn to {@code width} x {@code height} pixels, shown at that size. */
    void chart(JFreeChart chart, int width, int height, String alt) {
        String file = "chart" + (mCharts.size() + 1) + ".png";
        mCharts.add(new Chart(file, chart, width, height));
        mBody.append(String.format("<img src=\"%s\" width=\"%d\" height=\"%d\" alt=\"%s\">%n", file, width, height,
                escape(alt)));
    }

    /**
     * Fails unless {@code dir} is new or an earlier report (nothing but what a
     * run writes), which is all a run may replace.
     */
    static void checkTarget(Path dir) {
        if (!Files.exists(dir)) {
            return;
        }
        if (Files.isDirectory(dir)) {
            try (Stream<Path> entries = Files.list(dir)) {
                if (entries.allMatch(p -> p.getFileName().toString().matches(OWN_FILES))) {
                    return;
                }
            } catch (IOException e) {
                throw new SimulatorError("--report " + dir + ": " + SimulatorError.describe(e));
            }
        }
        throw new SimulatorError("--report " + dir
                + ": exists and is not a report folder; give a new or earlier report's folder");
    }

    /**
     * Draws the charts, writes the page with the run's warnings at its top and
     * puts the folder in place of an earlier report; returns the page.
     */
    Path write(String title, List<String> warnings) throws IOException {
        checkTarget(mTarget);
        try {
            List<ChartPainter.Job> jobs = new ArrayList<>();
            for (Chart chart : mCharts) {
                jobs.add(new ChartPainter.Job(mFresh.resolve(chart.file()), chart.chart(), chart.width(),
                        chart.height()));
            }
            try (Progress progress = Progress.ticking("drawing " + jobs.size() + " charts")) {
                ChartPainter.paint(jobs, mFresh);
            }
            StringBuilder top = new StringBuilder();
            if (!warnings.isEmpty()) {
                top.append("<div class=\"warn\"><b>Input this run did not use</b><ul>");
                warnings.forEach(w -> top.append("<li>").append(escape(w)).append("</li>"));
                top.append("</ul></div>\n");
            }
            String page = "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>" + escape(title)
                    + "</title><style>" + STYLE + "</style></head>\n<body>\n<h1>" + escape(title) + "</h1>\n" + top
                    + mBody + "</body></html>\n";
            Files.writeString(mFresh.resolve("index.html"), page, StandardCharsets.UTF_8);
            Path old = null;
            if (Files.exists(mTarget)) {
                old = Files.createTempDirectory(mTarget.getParent(), "." + mTarget.getFileName() + ".old-");
                Files.delete(old);
                Files.move(mTarget, old, StandardCopyOption.ATOMIC_MOVE);
            }
            Files.move(mFresh, mTarget, StandardCopyOption.ATOMIC_MOVE);
            deleteTree(old);
        } catch (IOException | RuntimeException e) {
            abandon();
            throw e;
        }
        return mTarget.resolve("index.html");
    }

    /** Removes the unfinished folder; the earlier report stays. */
    void abandon() {
        deleteTree(mFresh);
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
