#include "WmpReport.h"

#include <cstdio>
#include <initializer_list>

namespace wmpcore {

namespace {

constexpr char kUnknownExceptionLine[] = "*********";

// Allocation-free, so it is safe inside a handler for std::bad_alloc.
void writeStdoutPieces(std::initializer_list<const char*> pieces) {
    flockfile(stdout);
    for (const char* piece : pieces) std::fputs(piece, stdout);
    std::fputc('\n', stdout);
    funlockfile(stdout);
    std::fflush(stdout);
}

}  // namespace

void writeStdoutLine(const char* text) {
    writeStdoutPieces({text});
}

void reportException(const char* stage, const std::exception& e) {
    const char* what = e.what();
    writeStdoutPieces({"WmpCore:", stage, ": ", what});
    WMP_LOGI_AS(kExceptionTag, "%s  : %s ", stage, what);
}

void reportUnknownException() {
    writeStdoutPieces({kUnknownExceptionLine});
}

}  // namespace wmpcore
