package com.android.server.qesta.sim;

import java.io.IOException;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileAlreadyExistsException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import java.nio.file.NotDirectoryException;
import java.nio.file.Path;

/** A bad command line or input file, reported to the user as one line (exit code 2). */
final class SimulatorError extends RuntimeException {
    private static final long serialVersionUID = 1L;

    SimulatorError(String message) {
        super(message);
    }

    /** A problem at a line and column (both from 1) of an input file. */
    static SimulatorError at(Path file, long line, long column, String what) {
        return new SimulatorError(file + ":" + line + ":" + column + ": " + what);
    }

    /** A file that cannot be read or written, in words rather than the exception's name. */
    static SimulatorError io(Path file, IOException e) {
        return new SimulatorError(file + ": " + describe(e));
    }

    /** What went wrong with a file, without Java's class names. */
    static String describe(IOException e) {
        if (e instanceof NoSuchFileException) {
            return "no such file or folder";
        }
        if (e instanceof AccessDeniedException) {
            return "permission denied";
        }
        if (e instanceof NotDirectoryException) {
            return "not a folder";
        }
        if (e instanceof FileAlreadyExistsException) {
            return "already exists";
        }
        if (e instanceof FileSystemException fs && fs.getReason() != null) {
            return fs.getReason();
        }
        return e.getMessage() != null ? e.getMessage() : "input/output error";
    }
}
