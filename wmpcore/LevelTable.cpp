#include "LevelTable.h"

#include <algorithm>
#include <numeric>

namespace wmpcore {

LevelTable::LevelTable(std::vector<std::string> columns)
    : mColumns(std::move(columns)), mByName(mColumns.size()), mWords((mColumns.size() + kBits - 1) / kBits) {
    std::iota(mByName.begin(), mByName.end(), 0U);
    std::stable_sort(mByName.begin(), mByName.end(),
                     [this](uint32_t a, uint32_t b) { return mColumns[a] < mColumns[b]; });
    for (size_t i = 0; i < mByName.size(); ++i) {
        if (i > 0 && mColumns[mByName[i]] == mColumns[mByName[i - 1]]) {
            if (mRepeated.empty() || mRepeated.back() != mNameStart.size() - 1) {
                mRepeated.push_back(static_cast<uint32_t>(mNameStart.size() - 1));
            }
            continue;
        }
        mNameStart.push_back(static_cast<uint32_t>(i));
    }
    mNameStart.push_back(static_cast<uint32_t>(mByName.size()));
}

LevelTable::LevelTable(const std::map<std::string, float>& levels) : LevelTable([&levels] {
        std::vector<std::string> names;
        names.reserve(levels.size());
        for (const auto& entry : levels) names.push_back(entry.first);
        return names;
    }()) {
    addRow();
    uint32_t col = 0;
    for (const auto& entry : levels) set(col++, entry.second);
    finishRow();
}

void LevelTable::reserveRows(size_t rows) {
    mCells.reserve(rows * width());
    mReceived.reserve(rows * mWords);
    mComplete.reserve(rows);
}

uint32_t LevelTable::addRow() {
    const size_t r = mRowCount++;
    mCells.resize(mCells.size() + width(), 0.0f);
    mReceived.resize(mReceived.size() + mWords, 0);
    mComplete.push_back(0);
    mRowCells = mCells.data() + r * width();
    mRowReceived = mReceived.data() + r * mWords;
    return static_cast<uint32_t>(r);
}

void LevelTable::set(uint32_t col, float level) {
    mRowCells[col] = level;
    mRowReceived[col / kBits] |= uint64_t{1} << (col % kBits);
}

void LevelTable::finishRow() {
    const auto r = static_cast<uint32_t>(mRowCount - 1);
    for (uint32_t id : mRepeated) {
        const uint32_t first = levelColumn(id);
        if (received(r, first)) continue;
        const uint32_t* later = std::find_if(columnsBegin(id) + 1, columnsEnd(id),
                                             [&](uint32_t col) { return received(r, col); });
        if (later != columnsEnd(id)) mRowCells[first] = mRowCells[*later];
    }
    // Complete when every word is full, the last one up to the width.
    bool complete = true;
    for (size_t w = 0; w < mWords && complete; ++w) {
        const size_t bits = std::min<size_t>(kBits, width() - w * kBits);
        const uint64_t full = bits == kBits ? ~uint64_t{0} : (uint64_t{1} << bits) - 1;
        complete = mRowReceived[w] == full;
    }
    mComplete[r] = complete ? 1 : 0;
}

uint32_t LevelTable::nameId(const std::string& name) const {
    uint32_t lo = 0;
    uint32_t hi = nameCount();
    while (lo < hi) {
        const uint32_t mid = lo + (hi - lo) / 2;
        if (this->name(mid) < name) {
            lo = mid + 1;
        } else {
            hi = mid;
        }
    }
    return lo < nameCount() && this->name(lo) == name ? lo : kNone;
}

bool LevelTable::has(uint32_t r, uint32_t id) const {
    return std::any_of(columnsBegin(id), columnsEnd(id), [&](uint32_t col) { return received(r, col); });
}

}  // namespace wmpcore
