#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "LevelTable.h"

namespace wmpcore {

// A record's BSSID values: an ordered map from BSSID name to level, held as
// one row of a shared LevelTable. The table never changes once built; the
// names a writer adds to the record (with level 0) are kept by the record,
// so copies of a record stay independent of each other.
class BssidLevels {
public:
    BssidLevels() = default;
    BssidLevels(std::shared_ptr<const LevelTable> table, uint32_t row) : mTable(std::move(table)), mRow(row) {}
    // A map of its own, for a record made outside a data set.
    explicit BssidLevels(const std::map<std::string, float>& levels);

    [[nodiscard]] size_t size() const;
    [[nodiscard]] bool empty() const { return size() == 0; }
    [[nodiscard]] size_t count(const std::string& name) const;
    // The level of `name`, 0 when the record has none.
    [[nodiscard]] float valueOf(const std::string& name) const;
    [[nodiscard]] std::map<std::string, float> toMap() const;

    // Adds `name` with level 0 unless the record has it.
    void addMissing(const std::string& name);
    // The same for a name of the record's table, by its number.
    void addMissing(uint32_t id);

    [[nodiscard]] const std::shared_ptr<const LevelTable>& table() const { return mTable; }
    // The record's row of levels; nullptr without a table.
    [[nodiscard]] const float* cells() const { return mTable ? mTable->row(mRow) : nullptr; }
    // Whether the record has a level for name `id` of its table.
    [[nodiscard]] bool has(uint32_t id) const;
    // Whether it has a level for every name of its table.
    [[nodiscard]] bool complete() const { return mTable && mTable->complete(mRow); }

private:
    std::shared_ptr<const LevelTable> mTable;
    uint32_t mRow = 0;
    // Names of the table added by a writer, ascending.
    std::vector<uint32_t> mAdded;
};

// Reads the levels of one list of names from records. The names are looked
// up once per table, and the records of a data set share theirs, so reading
// a level is an index and a load.
class LevelReader {
public:
    explicit LevelReader(const std::vector<std::string>& names) : mNames(names) {}

    // One record's levels, in the order of the names; 0 where it has none.
    class Row {
    public:
        Row(const float* cells, const uint32_t* cols) : mCells(cells), mCols(cols) {}
        [[nodiscard]] float operator[](size_t k) const {
            return mCols[k] == LevelTable::kNone ? 0.0f : mCells[mCols[k]];
        }

    private:
        const float* mCells;
        const uint32_t* mCols;
    };

    [[nodiscard]] Row row(const BssidLevels& levels);
    [[nodiscard]] size_t size() const { return mNames.size(); }
    // Gives the record every name of the list it lacks, with level 0.
    void addMissing(BssidLevels& levels);

private:
    void resolve(const BssidLevels& levels);

    const std::vector<std::string>& mNames;
    // Held so that the numbers below cannot outlive their table.
    std::shared_ptr<const LevelTable> mTable;
    bool mResolved = false;
    bool mAllInTable = false;
    std::vector<uint32_t> mIds;
    std::vector<uint32_t> mCols;
};

}  // namespace wmpcore
