#include "VideoForest.h"

namespace mqqoe {

ForestLeafPair gForestLeaf = {0, 0};

namespace {

ForestTable gForest[kForestTrees] = {};
bool gForestLoaded = false;

void loadShipped() {
    for (int i = 0; i < kForestTrees; ++i) gForest[i] = kShippedForest[i];
    gForestLoaded = true;
}

const ForestTable& treeTable(int tree) {
    if (!gForestLoaded) loadShipped();
    return gForest[tree - 1];
}

bool validTree(const ForestNode* nodes, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        const ForestNode& node = nodes[i];
        if (node.feature == -1) {
            if (node.first < 0 || node.second < 0) return false;
            continue;
        }
        // Children point forward, so every walk ends at a leaf.
        auto forward = [&](int32_t child) {
            return child > static_cast<int64_t>(i) && static_cast<size_t>(child) < count;
        };
        if (node.feature < 0 || node.feature >= kForestFeatures || !forward(node.trueChild) ||
            !forward(node.falseChild)) {
            return false;
        }
    }
    return true;
}

// Walks tree `tree` and leaves its leaf's counts in the shared pair.
void evaluate(int tree, const float* f) {
    const ForestTable& table = treeTable(tree);
    if (table.count == 0) return;
    size_t i = 0;
    while (table.nodes[i].feature != -1) {
        const ForestNode& node = table.nodes[i];
        i = static_cast<size_t>(static_cast<double>(f[node.feature]) <= node.threshold ? node.trueChild
                                                                                         : node.falseChild);
    }
    gForestLeaf = {table.nodes[i].first, table.nodes[i].second};
}

}  // namespace

bool setForestTree(int tree, const ForestNode* nodes, size_t count) {
    if (tree < 1 || tree > kForestTrees) return false;
    if (nodes == nullptr || count == 0) {
        treeTable(tree);
        gForest[tree - 1] = {nullptr, 0};
        return true;
    }
    if (!validTree(nodes, count)) return false;
    treeTable(tree);
    gForest[tree - 1] = {nodes, count};
    return true;
}

bool hasForestTree(int tree) { return tree >= 1 && tree <= kForestTrees && treeTable(tree).count > 0; }

void resetForest() { loadShipped(); }

void predict2SRandom1(const float* f) { evaluate(1, f); }
void predict2SRandom2(const float* f) { evaluate(2, f); }
void predict2SRandom3(const float* f) { evaluate(3, f); }
void predict2SRandom4(const float* f) { evaluate(4, f); }
void predict2SRandom5(const float* f) { evaluate(5, f); }
void predict2SRandom6(const float* f) { evaluate(6, f); }
void predict2SRandom7(const float* f) { evaluate(7, f); }
void predict2SRandom8(const float* f) { evaluate(8, f); }
void predict2SRandom9(const float* f) { evaluate(9, f); }
void predict2SRandom10(const float* f) { evaluate(10, f); }
void predict2SRandom11(const float* f) { evaluate(11, f); }
void predict2SRandom12(const float* f) { evaluate(12, f); }
void predict2SRandom13(const float* f) { evaluate(13, f); }
void predict2SRandom14(const float* f) { evaluate(14, f); }
void predict2SRandom15(const float* f) { evaluate(15, f); }
void predict2SRandom16(const float* f) { evaluate(16, f); }
void predict2SRandom17(const float* f) { evaluate(17, f); }
void predict2SRandom18(const float* f) { evaluate(18, f); }
void predict2SRandom19(const float* f) { evaluate(19, f); }
void predict2SRandom20(const float* f) { evaluate(20, f); }
void predict2SRandom21(const float* f) { evaluate(21, f); }
void predict2SRando22(const float* f) { evaluate(22, f); }
void predict2SRandom23(const float* f) { evaluate(23, f); }
void predict2SRandom24(const float* f) { evaluate(24, f); }

bool runForest(const float* features, float threshold) {
    using TreeFn = void (*)(const float*);
    static constexpr TreeFn kTrees[kForestTrees] = {
        predict2SRandom1,  predict2SRandom2,  predict2SRandom3,  predict2SRandom4,  predict2SRandom5,
        predict2SRandom6,  predict2SRandom7,  predict2SRandom8,  predict2SRandom9,  predict2SRandom10,
        predict2SRandom11, predict2SRandom12, predict2SRandom13, predict2SRandom14, predict2SRandom15,
        predict2SRandom16, predict2SRandom17, predict2SRandom18, predict2SRandom19, predict2SRandom20,
        predict2SRandom21, predict2SRando22,  predict2SRandom23, predict2SRandom24,
    };
    gForestLeaf = {0, 0};
    for (TreeFn tree : kTrees) tree(features);
    int64_t samples = static_cast<int64_t>(gForestLeaf.first) + gForestLeaf.second;
    if (samples <= 0) return false;
    double positive = static_cast<double>(gForestLeaf.second) / static_cast<double>(samples);
    return threshold < static_cast<float>(positive);
}

}  // namespace mqqoe
