// The trained forest of the video detector, one node table per tree (root
// first, children after their parent). Trees 9 and 10 are part of the
// library; the other trees' tables come with the trained model: fill them in
// here, tree N at index N - 1, or install them at run time with
// setForestTree(). A tree without a table is skipped.

#include "VideoForest.h"

namespace mqqoe {

namespace {

constexpr ForestNode kTree9[] = {
    forestInner(5, 941.8, 1, 6),
    forestInner(5, 938.23334, 2, 5),
    forestInner(4, 866.4, 3, 4),
    forestLeaf(0, 47),
    forestLeaf(2, 8),
    forestLeaf(1, 0),
    forestInner(3, 5192.5, 7, 8),
    forestLeaf(0, 933),
    forestInner(3, 5196.25, 9, 10),
    forestLeaf(1, 0),
    forestLeaf(11, 943),
};

constexpr ForestNode kTree10[] = {
    forestInner(0, 1668.4, 1, 6),
    forestInner(4, 8799.199, 2, 3),
    forestLeaf(1, 0),
    forestInner(5, 15382.566, 4, 5),
    forestLeaf(5, 21),
    forestLeaf(0, 37),
    forestInner(4, 8855.68, 7, 10),
    forestInner(4, 8843.52, 8, 9),
    forestLeaf(5, 87),
    forestLeaf(1, 0),
    forestInner(1, 7907.7, 11, 12),
    forestLeaf(1, 191),
    forestLeaf(2, 44),
};

template <size_t N>
constexpr ForestTable table(const ForestNode (&nodes)[N]) {
    return {nodes, N};
}

constexpr ForestTable kNone = {nullptr, 0};

}  // namespace

const ForestTable kShippedForest[kForestTrees] = {
    kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, table(kTree9), table(kTree10), kNone, kNone,
    kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone, kNone,         kNone,          kNone, kNone,
};

}  // namespace mqqoe
