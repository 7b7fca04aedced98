package com.android.server.qesta.sim;

import java.io.BufferedInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.ByteBuffer;
import java.nio.CharBuffer;
import java.nio.charset.CharsetDecoder;
import java.nio.charset.CoderResult;
import java.nio.charset.CodingErrorAction;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;

/**
 * A comma-separated input file read row by row, checked strictly: UTF-8, a
 * header line, then rows of exactly the header's width. Every complaint
 * names the file, line and column. Only the current row is held, so a file
 * of any length streams through.
 */
final class CsvFile implements AutoCloseable {
    /** One data row and the line it was read from. */
    record Row(long line, String[] fields) {}

    private static final int BUFFER = 1 << 16;

    final Path path;
    final String[] header;
    private final long mSize;
    private final InputStream mIn;
    private final CharsetDecoder mDecoder = StandardCharsets.UTF_8.newDecoder()
            .onMalformedInput(CodingErrorAction.REPORT).onUnmappableCharacter(CodingErrorAction.REPORT);
    private byte[] mLine = new byte[256];
    private CharBuffer mChars = CharBuffer.allocate(256);
    private long mNumber;
    private long mRead;

    private CsvFile(Path path) throws IOException {
        this.path = path;
        mSize = Files.size(path);
        mIn = new BufferedInputStream(Files.newInputStream(path), BUFFER);
        String first = nextLine();
        if (first == null || first.isBlank()) {
            mIn.close();
            throw SimulatorError.at(path, 1, 1, "empty file, expected a header line");
        }
        header = split(first);
    }

    /** Opens the file and reads its header. */
    static CsvFile open(Path path) {
        try {
            return new CsvFile(path);
        } catch (IOException e) {
            throw SimulatorError.io(path, e);
        }
    }

    /** The next data row, or null at the end; blank lines are skipped. */
    Row next() {
        try {
            String line;
            while ((line = nextLine()) != null) {
                if (line.isEmpty()) {
                    continue;
                }
                String[] fields = split(line);
                if (fields.length != header.length) {
                    throw SimulatorError.at(path, mNumber, Math.min(fields.length, header.length) + 1,
                            fields.length + " fields, the header has " + header.length);
                }
                return new Row(mNumber, fields);
            }
            return null;
        } catch (IOException e) {
            throw SimulatorError.io(path, e);
        }
    }

    /** Lines read so far, the header included. */
    long lines() {
        return mNumber;
    }

    /** Share of the file read so far, 0 to 1. */
    double fractionRead() {
        return mSize == 0 ? 1 : Math.min(1.0, (double) mRead / mSize);
    }

    @Override
    public void close() {
        try {
            mIn.close();
        } catch (IOException e) {
            // Read-only: nothing is lost.
        }
    }

    /** One line as text without its end, or null at the end of the file; invalid UTF-8 is an error at its column. */
    private String nextLine() throws IOException {
        int length = 0;
        int b;
        while ((b = mIn.read()) >= 0 && b != '\n') {
            if (length == mLine.length) {
                mLine = Arrays.copyOf(mLine, length * 2);
            }
            mLine[length++] = (byte) b;
        }
        if (b < 0 && length == 0) {
            return null;
        }
        mNumber++;
        mRead += length + 1;
        if (length > 0 && mLine[length - 1] == '\r') {
            length--;
        }
        return decode(length);
    }

    private String decode(int length) {
        if (mChars.capacity() < length) {
            mChars = CharBuffer.allocate(length);
        }
        mChars.clear();
        ByteBuffer bytes = ByteBuffer.wrap(mLine, 0, length);
        mDecoder.reset();
        CoderResult result = mDecoder.decode(bytes, mChars, true);
        if (result.isError()) {
            throw SimulatorError.at(path, mNumber, mChars.position() + 1, String.format(
                    "byte 0x%02X is not UTF-8 (save the file as UTF-8 or plain ASCII)", mLine[bytes.position()]));
        }
        mChars.flip();
        return mChars.toString();
    }

    private static String[] split(String line) {
        return line.split(",", -1);
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
