// Writes synthetic or converted fingerprint sets to files and scores a
// clustering model against their ground truth; the Java simulator drives it.
//
//   fingerprint_gen synth --out ROWS --truth TRUTH [--rows N --bssids M --batches K --seed S]
//   fingerprint_gen uji CSV --out ROWS --truth TRUTH
//   fingerprint_gen score --truth TRUTH --model MODEL [--scans N]

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "ClusterQuality.h"
#include "SyntheticBuilding.h"
#include "UjiIndoorLoc.h"

namespace {

using Options = std::map<std::string, std::string>;

Options parseOptions(int argc, char** argv, int first, std::string& positional) {
    Options options;
    for (int i = first; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("--", 0) == 0 && i + 1 < argc) {
            options[arg.substr(2)] = argv[++i];
        } else {
            positional = arg;
        }
    }
    return options;
}

int intOption(const Options& options, const char* name, int fallback) {
    const auto it = options.find(name);
    return it == options.end() ? fallback : std::atoi(it->second.c_str());
}

int usage() {
    std::fputs("usage: fingerprint_gen synth|uji|score ... (see the source header)\n", stderr);
    return 2;
}

int writeSet(const fingerprints::FingerprintSet& set, const Options& options) {
    if (!options.count("out") || !options.count("truth")) return usage();
    if (!writeRows(set, options.at("out")) || !writeTruth(set, options.at("truth"))) {
        std::fputs("fingerprint_gen: cannot write the output files\n", stderr);
        return 1;
    }
    std::printf("%zu scans in %zu batches\n", set.scanCount(), set.placeOfBatch.size());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage();
    const std::string command = argv[1];
    std::string positional;
    const Options options = parseOptions(argc, argv, 2, positional);
    if (command == "synth") {
        fingerprints::BuildingSpec spec;
        if (options.count("rows") || options.count("bssids") || options.count("batches")) {
            spec = fingerprints::specForSize(intOption(options, "rows", 1000), intOption(options, "bssids", 100),
                                             intOption(options, "batches", 50));
        }
        spec.seed = static_cast<uint32_t>(intOption(options, "seed", static_cast<int>(spec.seed)));
        return writeSet(fingerprints::generateBuilding(spec), options);
    }
    if (command == "uji") {
        std::ifstream csv(positional);
        const auto set = fingerprints::convertUjiIndoorLoc(csv);
        if (!set) {
            std::fprintf(stderr, "fingerprint_gen: %s is not a UJIIndoorLoc file\n", positional.c_str());
            return 1;
        }
        return writeSet(*set, options);
    }
    if (command == "score") {
        std::map<int32_t, int32_t> placeOfBatch;
        if (!options.count("truth") || !options.count("model")) return usage();
        if (!fingerprints::readTruth(options.at("truth"), placeOfBatch)) {
            std::fputs("fingerprint_gen: cannot read the truth file\n", stderr);
            return 1;
        }
        std::ifstream in(options.at("model"));
        std::stringstream model;
        model << in.rdbuf();
        const auto report = fingerprints::scoreModel(model.str(), placeOfBatch,
                                                     static_cast<size_t>(intOption(options, "scans", 0)));
        std::fputs(fingerprints::formatReport(report).c_str(), stdout);
        return 0;
    }
    return usage();
}
