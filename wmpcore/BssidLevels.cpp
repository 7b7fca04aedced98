#include "BssidLevels.h"

#include <algorithm>

namespace wmpcore {

BssidLevels::BssidLevels(const std::map<std::string, float>& levels)
    : mTable(std::make_shared<const LevelTable>(levels)) {}

bool BssidLevels::has(uint32_t id) const {
    if (!mTable || id >= mTable->nameCount()) return false;
    return mTable->has(mRow, id) || std::binary_search(mAdded.begin(), mAdded.end(), id);
}

size_t BssidLevels::size() const {
    if (!mTable) return 0;
    size_t n = 0;
    for (uint32_t id = 0; id < mTable->nameCount(); ++id) n += has(id) ? 1 : 0;
    return n;
}

size_t BssidLevels::count(const std::string& name) const {
    if (!mTable) return 0;
    const uint32_t id = mTable->nameId(name);
    return id != LevelTable::kNone && has(id) ? 1 : 0;
}

float BssidLevels::valueOf(const std::string& name) const {
    if (!mTable) return 0.0f;
    const uint32_t id = mTable->nameId(name);
    // A name the record lacks reads its cell, which holds 0.
    return id == LevelTable::kNone ? 0.0f : cells()[mTable->levelColumn(id)];
}

std::map<std::string, float> BssidLevels::toMap() const {
    std::map<std::string, float> levels;
    if (!mTable) return levels;
    for (uint32_t id = 0; id < mTable->nameCount(); ++id) {
        if (has(id)) levels.emplace_hint(levels.end(), mTable->name(id), cells()[mTable->levelColumn(id)]);
    }
    return levels;
}

void BssidLevels::addMissing(uint32_t id) {
    if (!mTable || id >= mTable->nameCount() || has(id)) return;
    mAdded.insert(std::upper_bound(mAdded.begin(), mAdded.end(), id), id);
}

void BssidLevels::addMissing(const std::string& name) {
    const uint32_t id = mTable ? mTable->nameId(name) : LevelTable::kNone;
    if (id != LevelTable::kNone) {
        addMissing(id);
        return;
    }
    // A name outside the table: the record takes a table of its own.
    auto levels = toMap();
    levels.emplace(name, 0.0f);
    *this = BssidLevels(levels);
}

void LevelReader::resolve(const BssidLevels& levels) {
    mTable = levels.table();
    mResolved = true;
    mAllInTable = false;
    mIds.assign(mNames.size(), LevelTable::kNone);
    mCols.assign(mNames.size(), LevelTable::kNone);
    if (!mTable) return;
    for (size_t k = 0; k < mNames.size(); ++k) {
        mIds[k] = mTable->nameId(mNames[k]);
        if (mIds[k] != LevelTable::kNone) mCols[k] = mTable->levelColumn(mIds[k]);
    }
    mAllInTable = std::find(mIds.begin(), mIds.end(), LevelTable::kNone) == mIds.end();
}

LevelReader::Row LevelReader::row(const BssidLevels& levels) {
    if (!mResolved || levels.table() != mTable) resolve(levels);
    return {levels.cells(), mCols.data()};
}

void LevelReader::addMissing(BssidLevels& levels) {
    if (!mResolved || levels.table() != mTable) resolve(levels);
    if (mAllInTable && levels.complete()) return;
    // Names of the table first: a name outside it gives the record a new table.
    for (size_t k = 0; k < mNames.size(); ++k) {
        if (mIds[k] != LevelTable::kNone) levels.addMissing(mIds[k]);
    }
    for (size_t k = 0; k < mNames.size(); ++k) {
        if (mIds[k] == LevelTable::kNone) levels.addMissing(mNames[k]);
    }
}

}  // namespace wmpcore
