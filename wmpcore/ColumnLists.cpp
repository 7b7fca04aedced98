#include "ColumnLists.h"

#include <algorithm>
#include <numeric>

namespace wmpcore {

ColumnLists::ColumnLists(std::shared_ptr<const LevelTable> table)
    : mTable(std::move(table)), mKept(mTable->nameCount()) {
    std::iota(mKept.begin(), mKept.end(), 0U);
}

uint32_t ColumnLists::find(const std::string& name) const {
    if (!mTable) return LevelTable::kNone;
    const uint32_t id = mTable->nameId(name);
    return std::binary_search(mKept.begin(), mKept.end(), id) ? id : LevelTable::kNone;
}

std::vector<float> ColumnLists::list(const std::string& name) const {
    std::vector<float> levels;
    forEachLevel({name}, [&levels](size_t /*k*/, float level) { levels.push_back(level); });
    return levels;
}

void ColumnLists::keepOnly(const std::vector<std::string>& names) {
    std::vector<uint32_t> kept;
    for (const std::string& name : names) {
        const uint32_t id = find(name);
        if (id != LevelTable::kNone) kept.push_back(id);
    }
    std::sort(kept.begin(), kept.end());
    kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
    mKept = std::move(kept);
}

}  // namespace wmpcore
