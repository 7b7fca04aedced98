#pragma once
// The video detector's decision forest. Every tree is data: a flat node table
// that the tree functions evaluate. Trees 9 and 10 ship with the library; the
// other trained trees are supplied as tables through setForestTree() (or by
// filling their tables in VideoForestModel.cpp). A tree without a table leaves
// the shared leaf pair as it was.

#include <cstddef>
#include <cstdint>

namespace mqqoe {

constexpr int kForestTrees = 24;
constexpr int kForestFeatures = 6;

// One node. An inner node tests features[feature] <= threshold and goes to
// trueChild when that holds, to falseChild otherwise; a leaf (feature -1)
// holds the training counts of the two classes.
struct ForestNode {
    int32_t feature;
    double threshold;
    int32_t trueChild;
    int32_t falseChild;
    int32_t first;
    int32_t second;
};

constexpr ForestNode forestInner(int32_t feature, double threshold, int32_t trueChild, int32_t falseChild) {
    return {feature, threshold, trueChild, falseChild, 0, 0};
}
constexpr ForestNode forestLeaf(int32_t first, int32_t second) { return {-1, 0.0, -1, -1, first, second}; }

// The counts of the leaf the last evaluated tree reached; overwritten, never summed.
struct ForestLeafPair {
    int32_t first;
    int32_t second;
};
extern ForestLeafPair gForestLeaf;

// Installs the table of tree `tree` (1..24); nodes[0] is the root. The table
// must outlive its use. Refused (false) when a node's feature or child is out
// of range or a child does not point forward. A null table removes the tree.
bool setForestTree(int tree, const ForestNode* nodes, size_t count);
// Whether tree `tree` currently has a table.
bool hasForestTree(int tree);
// Puts the shipped tables back.
void resetForest();

// The trees, run by predict2S in order 1 to 24 (the last tree with a table decides).
void predict2SRandom1(const float* f);
void predict2SRandom2(const float* f);
void predict2SRandom3(const float* f);
void predict2SRandom4(const float* f);
void predict2SRandom5(const float* f);
void predict2SRandom6(const float* f);
void predict2SRandom7(const float* f);
void predict2SRandom8(const float* f);
void predict2SRandom9(const float* f);
void predict2SRandom10(const float* f);
void predict2SRandom11(const float* f);
void predict2SRandom12(const float* f);
void predict2SRandom13(const float* f);
void predict2SRandom14(const float* f);
void predict2SRandom15(const float* f);
void predict2SRandom16(const float* f);
void predict2SRandom17(const float* f);
void predict2SRandom18(const float* f);
void predict2SRandom19(const float* f);
void predict2SRandom20(const float* f);
void predict2SRandom21(const float* f);
void predict2SRando22(const float* f);
void predict2SRandom23(const float* f);
void predict2SRandom24(const float* f);

// Runs the trees 1 to 24 and decides on the leaf the last of them reached:
// true when threshold < second / (first + second).
bool runForest(const float* features, float threshold);

// The shipped tables, indexed by tree number - 1; an empty entry has no nodes.
struct ForestTable {
    const ForestNode* nodes;
    size_t count;
};
extern const ForestTable kShippedForest[kForestTrees];

}  // namespace mqqoe
