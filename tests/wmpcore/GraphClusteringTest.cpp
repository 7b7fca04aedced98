#include <gtest/gtest.h>

#include <random>

#include "GraphClustering.h"
#include "LogCapture.h"

namespace wmpcore {
namespace {

using Matrix = std::vector<std::vector<char>>;
using Groups = std::vector<std::vector<int32_t>>;

NonRecDFSTraverseResutl cluster(std::vector<BatchFp> fps, const std::vector<std::string>& params = {}) {
    DataSet ds;
    ds.batchClusters = std::move(fps);
    return graphClustering(ds, getParamByArr(params));
}

std::vector<float> heardAt(size_t columns, std::initializer_list<size_t> heard) {
    std::vector<float> v(columns, 0.0f);
    for (size_t k : heard) v[k] = -50.0f;
    return v;
}

TEST(GraphClustering, JoinNeedsSharedAccessPointsAndATruncatedDistanceBelowMaxDist) {
    const auto ten = heardAt(11, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    EXPECT_EQ(cluster({{1, ten}, {2, heardAt(11, {0, 1, 2, 3, 4, 5})}}, {"shareRatioParam=0.5"}).groupNum, 1);
    EXPECT_EQ(cluster({{1, ten}, {2, heardAt(11, {0, 1, 2, 3, 4, 10})}}, {"shareRatioParam=0.5"}).groupNum, 2);
    EXPECT_EQ(cluster({{1, heardAt(2, {0})}, {2, heardAt(2, {1})}}, {"maxDist=100000"}).groupNum, 2);
    EXPECT_EQ(cluster({{1, {-50.0f}}, {2, {-60.0f}}}).groupNum, 2);
    EXPECT_EQ(cluster({{1, {-50.0f}}, {2, {-60.0f}}}, {"maxDist=101"}).groupNum, 1);
    EXPECT_EQ(cluster({{1, {-50.0f}}, {2, {-59.9f}}}).groupNum, 1);
    EXPECT_EQ(compute_dist_share({1, {-50.0f, 1e30f}}, {2, {-40.0f, -1e30f}}, {0}), 100);
    EXPECT_EQ(compute_dist_share({1, {1e30f}}, {2, {-1e30f}}, {0}), INT32_MAX);
}

TEST(GraphClustering, MoreThanFiveHundredBatchesAreRefused) {
    std::vector<BatchFp> fps;
    for (int b = 1; b <= 500; ++b) fps.push_back({b, {-50.0f}});
    EXPECT_EQ(cluster(fps).groupNum, 1);
    fps.push_back({501, {-50.0f}});
    mqqoe::testing::LogCapture log;
    const auto r = cluster(fps);
    EXPECT_EQ(r.groupNum, 0);
    EXPECT_TRUE(r.groupOf.empty());
    EXPECT_TRUE(log.contains(4, "WmpCore:", "graphClustering begin 00202 failure record_num:501 > 500."));
}

TEST(GraphClustering, ChainOfFourFallsApartUnlessThePruningIsOff) {
    // Neighbours differ by 8 units, batches two apart by 16.
    const std::vector<BatchFp> chain = {{1, {-50.0f}}, {2, {-58.0f}}, {3, {-66.0f}}, {4, {-74.0f}}};
    EXPECT_EQ(cluster(chain, {"connectedStrength=0"}).groups, (Groups{{0, 1, 2, 3}}));
    EXPECT_EQ(cluster(chain).groups, (Groups{{0, 1}, {2, 3}}));
    // Three members are never split.
    EXPECT_EQ(cluster({chain[0], chain[1], chain[2]}, {"connectedStrength=1"}).groupNum, 1);
    // A clique is fully supported.
    const std::vector<BatchFp> clique = {{1, {-50.0f}}, {2, {-51.0f}}, {3, {-52.0f}}, {4, {-53.0f}}};
    EXPECT_EQ(cluster(clique, {"connectedStrength=1"}).groupNum, 1);
}

TEST(GroupSearch, DepthFirstOrderWithLowestNeighbourFirst) {
    const Matrix mat = {{1, 0, 1, 0}, {0, 1, 1, 0}, {1, 1, 1, 0}, {0, 0, 0, 1}};
    const auto r = NonRecDFSTraverse(mat, 4);
    EXPECT_EQ(r.groups, (Groups{{0, 2, 1}, {3}}));
    EXPECT_EQ(r.groupSizes, (std::vector<int32_t>{3, 1}));
    EXPECT_EQ(NonRecDFSTraverse({}, 0).groupNum, 0);
    // A matrix smaller than the size it claims is reported, not overrun.
    EXPECT_EQ(NonRecDFSTraverse({{1}}, 3).groupNum, 0);
}

TEST(GroupSearch, MatrixHelpersStayInBounds) {
    const Matrix mat = {{1, 1}, {1, 1}};
    EXPECT_EQ(getSubAdjMatByVec({0, 5}, 2, {1, 0}, 2, mat), (Matrix{{1, 1}, {}}));
    EXPECT_EQ(getSubAdjMatByVec({0}, 1, {0, 7, 1}, 3, mat), (Matrix{{1}}));
    EXPECT_EQ(sumMatBy2Vec({0, 1}, {0, 1}, mat), 4);
    EXPECT_EQ(sumMatBy2Vec({0}, {9}, mat), 0);
    // An index equal to the size is no row or cell either; the walk goes on.
    EXPECT_EQ(getSubAdjMatByVec({2, 1}, 2, {0, 2, 1}, 3, mat), (Matrix{{}, {1}}));
    EXPECT_EQ(sumMatBy2Vec({2}, {0}, mat), 0);
    EXPECT_EQ(sumMatBy2Vec({0, 1}, {1, 2}, mat), 0);
    EXPECT_EQ(sumMatBy2Vec({}, {0}, mat), 0);
    EXPECT_EQ(findNeighbors(mat, 0, 9), (std::vector<unsigned int>{1}));
    EXPECT_TRUE(findNeighbors(mat, 4, 0).empty());
}

// The rectangle test as written out cell by cell with the interface's own
// matrix helpers: the reference the word-parallel pruning must agree with.
Matrix referenceRectangleRel(Matrix mat, const NonRecDFSTraverseResutl& found, float strength) {
    for (const auto& group : found.groups) {
        if (group.size() <= 3) continue;
        const std::vector<uint32_t> members(group.begin(), group.end());
        const int k = static_cast<int>(members.size());
        const Matrix sub = getSubAdjMatByVec(members, k, members, k, mat);
        for (unsigned p = 0; p < members.size(); ++p) {
            for (unsigned q = p + 1; q < members.size(); ++q) {
                if (sub[p][q] == 0) continue;
                const auto np = findNeighbors(sub, p, q);
                const auto nq = findNeighbors(sub, q, p);
                const size_t possible = np.size() * nq.size();
                const int links = sumMatBy2Vec({np.begin(), np.end()}, {nq.begin(), nq.end()}, sub);
                if (possible != 0 && static_cast<float>(links) / static_cast<float>(possible) < strength) {
                    mat[members[p]][members[q]] = mat[members[q]][members[p]] = 0;
                }
            }
        }
    }
    return mat;
}

// Symmetric 0/1 graphs with the diagonal set, as graphClustering builds
// them, of sizes on both sides of the 64-bit word.
TEST(GroupSearch, RectanglePruningAgreesWithTheCellByCellReference) {
    std::mt19937 random(11);
    const int sizes[] = {4, 5, 9, 63, 64, 65, 72};
    const float densities[] = {0.15f, 0.5f, 0.9f};
    const char* strengths[] = {"connectedStrength=0.2", "connectedStrength=0.6", "connectedStrength=0.95"};
    size_t pruned = 0;
    for (int n : sizes) {
        for (float density : densities) {
            Matrix mat(static_cast<size_t>(n), std::vector<char>(static_cast<size_t>(n), 0));
            std::bernoulli_distribution joined(density);
            for (int i = 0; i < n; ++i) {
                mat[i][i] = 1;
                for (int j = i + 1; j < n; ++j) mat[i][j] = mat[j][i] = joined(random) ? 1 : 0;
            }
            const auto found = NonRecDFSTraverse(mat, n);
            for (const char* strength : strengths) {
                const Param param = getParamByArr({strength});
                const Matrix expected = referenceRectangleRel(mat, found, param.connectedStrength);
                EXPECT_EQ(expected, rectangleRel(mat, found, param)) << n << " " << density << " " << strength;
                pruned += expected != mat;
            }
        }
    }
    EXPECT_GT(pruned, 10u);  // the rows prune something, not just agree on nothing
}

}  // namespace
}  // namespace wmpcore
