#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "DataSet.h"
#include "WmpParam.h"

namespace wmpcore {

// Grouping of the nodes of an adjacency matrix into connected components.
struct NonRecDFSTraverseResutl {
    // Node index -> its group number, counting groups from 1.
    std::map<int32_t, int32_t> groupOf;
    int32_t groupNum = 0;
    std::vector<int32_t> groupSizes;
    // Members of each group in the order the search reached them.
    std::vector<std::vector<int32_t>> groups;
};

// A byte matrix with one buffer per row.
class MatrixEx {
public:
    MatrixEx(uint32_t rowNum, uint32_t colNum);
    ~MatrixEx();
    MatrixEx(const MatrixEx&) = delete;
    MatrixEx& operator=(const MatrixEx&) = delete;

    [[nodiscard]] uint32_t rowNum() const { return mRowNum; }
    [[nodiscard]] uint32_t colNum() const { return mColNum; }
    [[nodiscard]] char* row(uint32_t r) { return mRows[r].get(); }

private:
    uint32_t mRowNum;
    uint32_t mColNum;
    std::unique_ptr<std::unique_ptr<char[]>[]> mRows;
};

// Most batches the graph is built for; more are refused.
inline constexpr int kMaxGraphBatches = 500;
// Most nodes the group search can mark as visited.
inline constexpr int kMaxSearchNodes = 1000;

// Joins batches that share enough access points at similar levels and groups
// them by connected components. Reads dataSet.batchClusters only.
[[nodiscard]] NonRecDFSTraverseResutl graphClustering(DataSet& dataSet, Param param);

[[nodiscard]] std::set<int> getNonZeroLst(const BatchFp& fp);
[[nodiscard]] std::vector<int> getShare_mac(const std::set<int>& a, const std::set<int>& b);
[[nodiscard]] int compute_dist_share(const BatchFp& a, const BatchFp& b, const std::vector<int>& share);

[[nodiscard]] NonRecDFSTraverseResutl NonRecDFSTraverse(const std::vector<std::vector<char>>& mat, int size);

// Removes the joins of groups larger than 3 whose endpoints' neighbourhoods
// are too weakly linked to each other. Takes the graph by value: the pruned
// copy is the result.
[[nodiscard]] std::vector<std::vector<char>> rectangleRel(std::vector<std::vector<char>> mat,
                                                          const NonRecDFSTraverseResutl& result, const Param& param);

[[nodiscard]] std::vector<std::vector<char>> getSubAdjMatByVec(const std::vector<uint32_t>& rows, int rowNum,
                                                               const std::vector<uint32_t>& cols, int colNum,
                                                               const std::vector<std::vector<char>>& mat);
[[nodiscard]] std::vector<unsigned int> findNeighbors(const std::vector<std::vector<char>>& mat, unsigned int a,
                                                      unsigned int b);
[[nodiscard]] int sumMatBy2Vec(const std::vector<uint32_t>& rows, const std::vector<uint32_t>& cols,
                               const std::vector<std::vector<char>>& mat);

}  // namespace wmpcore
