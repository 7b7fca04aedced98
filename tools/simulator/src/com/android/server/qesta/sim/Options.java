package com.android.server.qesta.sim;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.Set;

/** The "--name value" options of a sub-command; only the names it knows, repeated only where allowed. */
final class Options {
    private final Map<String, List<String>> mValues = new LinkedHashMap<>();

    Options(List<String> args, List<String> known, Set<String> repeatable) {
        for (int i = 0; i < args.size(); i++) {
            String name = args.get(i);
            if (!known.contains(name)) {
                throw new SimulatorError("unknown option '" + name + "' (known: " + String.join(" ", known) + ")");
            }
            // A value may not look like an option: "--trace --frames f.csv" misses the trace, it does not name it.
            if (i + 1 == args.size() || args.get(i + 1).startsWith("--")) {
                throw new SimulatorError(name + " needs a value");
            }
            List<String> values = mValues.computeIfAbsent(name, n -> new ArrayList<>());
            if (!values.isEmpty() && !repeatable.contains(name)) {
                throw new SimulatorError(name + " given twice");
            }
            values.add(args.get(++i));
        }
    }

    boolean has(String name) {
        return mValues.containsKey(name);
    }

    String get(String name) {
        List<String> values = mValues.get(name);
        return values == null ? null : values.get(0);
    }

    String require(String name) {
        String value = get(name);
        if (value == null) {
            throw new SimulatorError("missing " + name);
        }
        return value;
    }

    List<String> all(String name) {
        return mValues.getOrDefault(name, List.of());
    }

    int integer(String name, int min, int max) {
        String text = require(name);
        try {
            int value = Integer.parseInt(text);
            if (value >= min && value <= max) {
                return value;
            }
        } catch (NumberFormatException e) {
            // reported below
        }
        throw new SimulatorError(name + " '" + text + "' is not a whole number from " + min + " to " + max);
    }

    /** An input file named by the option, which must exist and be readable. */
    Path inputFile(String name) {
        Path path = Path.of(require(name));
        if (Files.isDirectory(path)) {
            throw new SimulatorError(name + " " + path + ": is a folder, not a file");
        }
        if (!Files.isRegularFile(path)) {
            throw new SimulatorError(name + " " + path + ": no such file");
        }
        if (!Files.isReadable(path)) {
            throw new SimulatorError(name + " " + path + ": not readable (permission denied)");
        }
        return path;
    }
}
