package com.android.server.qesta.sim;

import java.nio.file.Path;

/** A bad command line or input file, reported to the user as one line. */
final class SimulatorError extends RuntimeException {
    private static final long serialVersionUID = 1L;

    SimulatorError(String message) {
        super(message);
    }

    /** A problem at a line and column (both from 1) of an input file. */
    static SimulatorError at(Path file, int line, int column, String what) {
        return new SimulatorError(file + ":" + line + ":" + column + ": " + what);
    }
}
