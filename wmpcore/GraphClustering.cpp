#include "GraphClustering.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <deque>
#include <iterator>

#include "WmpReport.h"
#include "WmpText.h"

namespace wmpcore {

namespace {

using CharMatrix = std::vector<std::vector<char>>;
constexpr char kJoined = 1;
// Groups up to this size are never split by the rectangle relation.
constexpr size_t kMaxUnprunedGroup = 3;


std::vector<int> nonZeroIndices(const std::vector<float>& levels) {
    std::vector<int> indices;
    for (size_t k = 0; k < levels.size(); ++k) {
        if (levels[k] != 0.0f) indices.push_back(static_cast<int>(k));
    }
    return indices;
}

// Square of a level difference truncated toward zero, taken in 64 bits and
// held at INT_MAX so that absurd levels can never wrap into a join.
int64_t squaredDifference(float a, float b) {
    const int64_t diff = truncToInt(a - b);
    return std::min<int64_t>(diff * diff, INT_MAX);
}

// Largest squared level difference over the shared access points.
int maxSquaredDifference(const std::vector<float>& a, const std::vector<float>& b, const std::vector<int>& share) {
    int64_t largest = 0;
    for (int k : share) {
        const auto pos = static_cast<size_t>(k);
        largest = std::max(largest, squaredDifference(a.at(pos), b.at(pos)));
    }
    return static_cast<int>(largest);
}

// The matrix helpers skip an index greater than the size; one equal to the
// size names no row or cell either, so it is skipped the same way.
bool pastEnd(size_t index, size_t size) {
    return index >= size;
}

// A join survives unless the links between the two neighbourhoods are
// sparser than `strength`; with a neighbourhood empty the density is 0/0,
// which is below nothing.
bool weaklySupported(int links, size_t np, size_t nq, float strength) {
    const int possible = static_cast<int>(np * nq);
    if (possible == 0) return false;
    return static_cast<float>(links) / static_cast<float>(possible) < strength;
}

void clearJoin(CharMatrix& mat, uint32_t a, uint32_t b) {
    mat.at(a).at(b) = 0;
    mat.at(b).at(a) = 0;
}

constexpr size_t kWordBits = 64;

// Rows of bit sets of one width.
class BitRows {
public:
    BitRows(size_t rows, size_t width) : mWords((width + kWordBits - 1) / kWordBits), mBits(rows * mWords, 0) {}
    void set(size_t i, size_t k) { mBits[i * mWords + k / kWordBits] |= uint64_t{1} << (k % kWordBits); }
    [[nodiscard]] bool test(size_t i, size_t k) const {
        return (mBits[i * mWords + k / kWordBits] >> (k % kWordBits) & 1U) != 0;
    }
    [[nodiscard]] size_t words() const { return mWords; }
    [[nodiscard]] const uint64_t* row(size_t i) const { return mBits.data() + i * mWords; }

private:
    size_t mWords;
    std::vector<uint64_t> mBits;
};

// Calls f(k) for every bit k set in word w of a bit set.
template <typename F>
void forEachBit(uint64_t word, size_t w, F&& f) {
    for (uint64_t rest = word; rest != 0; rest &= rest - 1) f(w * kWordBits + static_cast<size_t>(__builtin_ctzll(rest)));
}

size_t popcount(uint64_t w) {
    return static_cast<size_t>(__builtin_popcountll(w));
}

// The rectangle test on one group, with the rows of its sub-matrix as bit
// sets: the links between two neighbourhoods are popcounts of row
// intersections. The graph's cells are 0 or joined; a cell past a short row
// is no join. (The test suite keeps the cell-by-cell form as its reference.)
void pruneGroup(CharMatrix& mat, const std::vector<uint32_t>& members, const CharMatrix& sub, float strength) {
    const size_t k = members.size();
    BitRows bits(k, k);
    for (size_t i = 0; i < k && i < sub.size(); ++i) {
        for (size_t j = 0; j < k && j < sub[i].size(); ++j) {
            if (sub[i][j] == kJoined) bits.set(i, j);
        }
    }
    const size_t words = bits.words();
    std::vector<uint64_t> np(words);
    std::vector<uint64_t> nq(words);
    for (size_t p = 0; p < k; ++p) {
        for (size_t q = p + 1; q < k; ++q) {
            if (!bits.test(p, q)) continue;
            size_t npCount = 0;
            size_t nqCount = 0;
            for (size_t w = 0; w < words; ++w) {
                np[w] = bits.row(p)[w];
                nq[w] = bits.row(q)[w];
            }
            for (size_t self : {p, q}) {
                np[self / kWordBits] &= ~(uint64_t{1} << (self % kWordBits));
                nq[self / kWordBits] &= ~(uint64_t{1} << (self % kWordBits));
            }
            for (size_t w = 0; w < words; ++w) {
                npCount += popcount(np[w]);
                nqCount += popcount(nq[w]);
            }
            int links = 0;
            for (size_t w = 0; w < words; ++w) {
                forEachBit(np[w], w, [&](size_t i) {
                    const uint64_t* row = bits.row(i);
                    for (size_t x = 0; x < words; ++x) links += static_cast<int>(popcount(row[x] & nq[x]));
                });
            }
            if (weaklySupported(links, npCount, nqCount, strength)) clearJoin(mat, members[p], members[q]);
        }
    }
}

// Whether batches i and j hear enough access points in common (bit sets of
// the access points each hears, and their sizes), at levels close enough on
// every one of them.
bool joins(const std::vector<BatchFp>& fps, const BitRows& heard, const std::vector<size_t>& heardCount, size_t i,
           size_t j, const Param& param) {
    const uint64_t* a = heard.row(i);
    const uint64_t* b = heard.row(j);
    size_t shared = 0;
    for (size_t w = 0; w < heard.words(); ++w) shared += popcount(a[w] & b[w]);
    const float ti = param.shareRatioParam * static_cast<float>(heardCount[i]);
    const float tj = param.shareRatioParam * static_cast<float>(heardCount[j]);
    if (static_cast<float>(shared) <= std::max(ti, tj)) return false;
    int64_t largest = 0;
    for (size_t w = 0; w < heard.words(); ++w) {
        forEachBit(a[w] & b[w], w, [&](size_t k) {
            largest = std::max(largest, squaredDifference(fps[i].second[k], fps[j].second[k]));
        });
    }
    return largest < param.maxDist;
}

// Builds the similarity graph of the batch fingerprints into `work`.
void buildGraph(const std::vector<BatchFp>& fps, const Param& param, MatrixEx& work) {
    const size_t n = fps.size();
    size_t width = 0;
    for (const BatchFp& fp : fps) width = std::max(width, fp.second.size());
    BitRows heard(n, width);
    std::vector<size_t> heardCount(n, 0);
    for (size_t i = 0; i < n; ++i) {
        const std::vector<float>& levels = fps[i].second;
        for (size_t k = 0; k < levels.size(); ++k) {
            if (levels[k] == 0.0f) continue;
            heard.set(i, k);
            ++heardCount[i];
        }
    }
    for (size_t i = 0; i < n; ++i) {
        char* rowI = work.row(static_cast<uint32_t>(i));
        rowI[i] = kJoined;
        for (size_t j = i + 1; j < n; ++j) {
            const char joined = joins(fps, heard, heardCount, i, j, param) ? kJoined : 0;
            rowI[j] = joined;
            work.row(static_cast<uint32_t>(j))[i] = joined;
        }
    }
}

}  // namespace

MatrixEx::MatrixEx(uint32_t rowNum, uint32_t colNum)
    : mRowNum(rowNum), mColNum(colNum), mRows(std::make_unique<std::unique_ptr<char[]>[]>(rowNum)) {
    for (uint32_t r = 0; r < rowNum; ++r) mRows[r] = std::make_unique<char[]>(colNum);
}

MatrixEx::~MatrixEx() {
    for (uint32_t r = 0; r < mRowNum; ++r) mRows[r].reset();
    mRows.reset();
    mRowNum = 0;
    mColNum = 0;
}

std::set<int> getNonZeroLst(const BatchFp& fp) {
    const auto indices = nonZeroIndices(fp.second);
    return {indices.begin(), indices.end()};
}

std::vector<int> getShare_mac(const std::set<int>& a, const std::set<int>& b) {
    std::vector<int> share;
    std::set_intersection(a.begin(), a.end(), b.begin(), b.end(), std::back_inserter(share));
    return share;
}

int compute_dist_share(const BatchFp& a, const BatchFp& b, const std::vector<int>& share) {
    return maxSquaredDifference(a.second, b.second, share);
}

std::vector<std::vector<char>> getSubAdjMatByVec(const std::vector<uint32_t>& rows, int rowNum,
                                                 const std::vector<uint32_t>& cols, int colNum,
                                                 const std::vector<std::vector<char>>& mat) {
    CharMatrix sub;
    try {
        for (int i = 0; i < rowNum; ++i) {
            sub.emplace_back();
            const uint32_t r = rows.at(static_cast<size_t>(i));
            if (pastEnd(r, mat.size())) continue;
            const std::vector<char>& row = mat[r];
            for (int j = 0; j < colNum; ++j) {
                const uint32_t c = cols.at(static_cast<size_t>(j));
                if (pastEnd(c, row.size())) break;
                sub.back().push_back(row[c]);
            }
        }
    } catch (const std::exception& e) {
        reportException("getSubAdjMatByVec", e);
    } catch (...) {
        reportUnknownException();
    }
    return sub;
}

std::vector<unsigned int> findNeighbors(const std::vector<std::vector<char>>& mat, unsigned int a, unsigned int b) {
    std::vector<unsigned int> found;
    if (pastEnd(a, mat.size())) return found;
    const std::vector<char>& row = mat[a];
    for (size_t v = 0; v < row.size(); ++v) {
        const auto node = static_cast<unsigned int>(v);
        if (row[v] == kJoined && node != a && node != b) found.push_back(node);
    }
    return found;
}

int sumMatBy2Vec(const std::vector<uint32_t>& rows, const std::vector<uint32_t>& cols,
                 const std::vector<std::vector<char>>& mat) {
    int sum = 0;
    for (uint32_t i : rows) {
        if (pastEnd(i, mat.size())) return 0;
        const std::vector<char>& row = mat[i];
        for (uint32_t j : cols) {
            if (pastEnd(j, row.size())) return 0;
            sum += row[j];
        }
    }
    return sum;
}

NonRecDFSTraverseResutl NonRecDFSTraverse(const std::vector<std::vector<char>>& mat, int size) {
    NonRecDFSTraverseResutl result;
    try {
        WMP_LOGI("NonRecDFSTraverse begin,001");
        WMP_LOGI("NonRecDFSTraverse begin,mat.size = %d ,size = %d ", static_cast<int>(mat.size()), size);
        if (mat.empty()) return result;
        std::array<bool, kMaxSearchNodes> visited{};
        std::deque<int32_t> stack;
        for (int32_t u = 0; u < size; ++u) {
            if (visited.at(static_cast<size_t>(u))) continue;
            visited.at(static_cast<size_t>(u)) = true;
            std::vector<int32_t> group{u};
            stack.push_back(u);
            while (!stack.empty()) {
                const std::vector<char>& row = mat.at(static_cast<size_t>(stack.back()));
                int32_t next = -1;
                for (int32_t v = 0; v < size; ++v) {
                    const auto pos = static_cast<size_t>(v);
                    if (row.at(pos) == kJoined && !visited.at(pos)) {
                        next = v;
                        break;
                    }
                }
                if (next < 0) {
                    stack.pop_back();
                    continue;
                }
                visited.at(static_cast<size_t>(next)) = true;
                group.push_back(next);
                stack.push_back(next);
            }
            // Groups are numbered from 1 in the order they are found.
            const int32_t number = result.groupNum + 1;
            for (int32_t member : group) result.groupOf[member] = number;
            result.groupSizes.push_back(static_cast<int32_t>(group.size()));
            result.groups.push_back(std::move(group));
            result.groupNum = number;
        }
    } catch (const std::exception& e) {
        reportException("NonRecDFSTraverse", e);
    } catch (...) {
        reportUnknownException();
    }
    return result;
}

std::vector<std::vector<char>> rectangleRel(std::vector<std::vector<char>> mat, const NonRecDFSTraverseResutl& result,
                                            const Param& param) {
    try {
        for (const auto& group : result.groups) {
            if (group.size() <= kMaxUnprunedGroup) continue;
            const std::vector<uint32_t> members(group.begin(), group.end());
            const int k = static_cast<int>(members.size());
            // Judged on the group's links as they were before this pass.
            const CharMatrix sub = getSubAdjMatByVec(members, k, members, k, mat);
            pruneGroup(mat, members, sub, param.connectedStrength);
        }
    } catch (const std::exception& e) {
        // Reported under the graph clustering's name.
        reportException("graphClustering", e);
    } catch (...) {
        reportUnknownException();
    }
    return mat;
}

NonRecDFSTraverseResutl graphClustering(DataSet& dataSet, Param param) {
    NonRecDFSTraverseResutl result;
    try {
        WMP_LOGI("graphClustering begin 001");
        CharMatrix mat;
        {
            MatrixEx work(kMaxGraphBatches, kMaxGraphBatches);
            const int n = static_cast<int>(dataSet.batchClusters.size());
            WMP_LOGI("graphClustering begin 00201 record_num: %d", n);
            if (n > kMaxGraphBatches) {
                WMP_LOGI("graphClustering begin 00202 failure record_num:%d > %d.", n, kMaxGraphBatches);
                return result;
            }
            WMP_LOGI("graphClustering begin 002");
            buildGraph(dataSet.batchClusters, param, work);
            WMP_LOGI("graphClustering begin 004");
            mat.reserve(static_cast<size_t>(n));
            for (int i = 0; i < n; ++i) {
                const char* row = work.row(static_cast<uint32_t>(i));
                mat.emplace_back(row, row + n);
            }
        }
        const int n = static_cast<int>(mat.size());
        WMP_LOGI("graphClustering begin 005");
        result = NonRecDFSTraverse(mat, n);
        if (param.connectedStrength > 0.0f) {
            auto pruned = rectangleRel(std::move(mat), result, param);
            result = NonRecDFSTraverse(std::move(pruned), n);
        }
    } catch (const std::exception& e) {
        reportException("graphClustering", e);
    } catch (...) {
        reportUnknownException();
    }
    return result;
}

}  // namespace wmpcore
