package com.android.server.qesta.sim;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * A comma-separated input file, checked strictly: a header line, then rows of
 * exactly the header's width. Every complaint names the file, line and column.
 */
final class CsvFile {
    /** One data row and the line it was read from. */
    record Row(int line, String[] fields) {}

    final Path path;
    final String[] header;
    final List<Row> rows = new ArrayList<>();

    private CsvFile(Path path, String[] header) {
        this.path = path;
        this.header = header;
    }

    static CsvFile read(Path path) {
        long size;
        try {
            size = Files.size(path);
        } catch (IOException e) {
            throw new SimulatorError(path + ": " + e.getMessage());
        }
        try (BufferedReader in = Files.newBufferedReader(path, StandardCharsets.UTF_8);
                Progress progress = new Progress("reading " + path)) {
            String line = in.readLine();
            if (line == null || line.isBlank()) {
                throw SimulatorError.at(path, 1, 1, "empty file, expected a header line");
            }
            CsvFile file = new CsvFile(path, split(line));
            long read = line.length() + 1;
            int number = 1;
            while ((line = in.readLine()) != null) {
                number++;
                read += line.length() + 1;
                if (line.isEmpty()) {
                    continue;  // a blank line, usually the last one
                }
                String[] fields = split(line);
                if (fields.length != file.header.length) {
                    throw SimulatorError.at(path, number, Math.min(fields.length, file.header.length) + 1,
                            fields.length + " fields, the header has " + file.header.length);
                }
                file.rows.add(new Row(number, fields));
                progress.update(String.format("%d%%", 100 * read / Math.max(size, 1)));
            }
            return file;
        } catch (IOException e) {
            throw new SimulatorError(path + ": " + e.getMessage());
        }
    }

    private static String[] split(String line) {
        String[] fields = line.split(",", -1);
        String last = fields[fields.length - 1];
        if (last.endsWith("\r")) {
            fields[fields.length - 1] = last.substring(0, last.length() - 1);
        }
        return fields;
    }

    /** Fails unless the header is exactly these columns, in this order. */
    void requireHeader(String... columns) {
        for (int i = 0; i < Math.max(columns.length, header.length); i++) {
            String want = i < columns.length ? columns[i] : "(end of line)";
            String got = i < header.length ? header[i] : "(end of line)";
            if (!want.equals(got)) {
                throw SimulatorError.at(path, 1, i + 1,
                        "expected column '" + want + "', got '" + got + "' (header: " + String.join(",", columns) + ")");
            }
        }
    }

    /** Index of a column that must be present. */
    int column(String name) {
        int index = Arrays.asList(header).indexOf(name);
        if (index < 0) {
            throw SimulatorError.at(path, 1, header.length + 1, "no column '" + name + "'");
        }
        return index;
    }

    long integer(Row row, int column, long min, long max) {
        String text = row.fields()[column];
        try {
            long value = Long.parseLong(text.trim());
            if (value >= min && value <= max) {
                return value;
            }
        } catch (NumberFormatException e) {
            // reported below
        }
        throw SimulatorError.at(path, row.line(), column + 1,
                header[column] + " '" + text + "' is not a whole number from " + min + " to " + max);
    }

    double number(Row row, int column) {
        String text = row.fields()[column];
        try {
            double value = Double.parseDouble(text.trim());
            if (Double.isFinite(value)) {
                return value;
            }
        } catch (NumberFormatException e) {
            // reported below
        }
        throw SimulatorError.at(path, row.line(), column + 1, header[column] + " '" + text + "' is not a number");
    }
}
