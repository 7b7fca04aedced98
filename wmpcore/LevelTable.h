#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace wmpcore {

// The BSSID levels of a set of records: one dense row of floats per record
// over a list of BSSID columns, and which cells received a level. Cells that
// received none hold 0, the level of a BSSID that is not heard.
//
// A name may head several columns. Each column keeps what it received; a
// record's level for the name is the first one the row received, kept in the
// cell of the name's first column.
//
// Names are interned once per table and numbered in name order; finding one
// is a binary search over them, done once per list of names, never per level.
class LevelTable {
public:
    static constexpr uint32_t kNone = UINT32_MAX;

    explicit LevelTable(std::vector<std::string> columns);
    // One row holding exactly these levels (a record made outside a data set).
    explicit LevelTable(const std::map<std::string, float>& levels);

    // Building, one row at a time.
    void reserveRows(size_t rows);
    // Starts an empty row and returns its index.
    uint32_t addRow();
    // The last row receives `level` in column `col`.
    void set(uint32_t col, float level);
    // Ends the last row: a name whose first column received nothing takes the
    // first level one of its other columns received.
    void finishRow();

    [[nodiscard]] const std::vector<std::string>& columns() const { return mColumns; }
    [[nodiscard]] size_t width() const { return mColumns.size(); }
    [[nodiscard]] size_t rowCount() const { return mRowCount; }
    [[nodiscard]] const float* row(uint32_t r) const { return mCells.data() + static_cast<size_t>(r) * width(); }
    [[nodiscard]] bool received(uint32_t r, uint32_t col) const {
        return ((mReceived[static_cast<size_t>(r) * mWords + col / kBits] >> (col % kBits)) & 1U) != 0;
    }
    // Whether row r received a level in every column, so has every name.
    [[nodiscard]] bool complete(uint32_t r) const { return mComplete[r] != 0; }

    // Distinct names, numbered 0, 1, 2, ... in name order.
    [[nodiscard]] uint32_t nameCount() const { return static_cast<uint32_t>(mNameStart.size() - 1); }
    [[nodiscard]] const std::string& name(uint32_t id) const { return mColumns[levelColumn(id)]; }
    // kNone when the table has no such name.
    [[nodiscard]] uint32_t nameId(const std::string& name) const;
    // The column whose cell holds a record's level for the name.
    [[nodiscard]] uint32_t levelColumn(uint32_t id) const { return mByName[mNameStart[id]]; }
    // The name's columns, in column order.
    [[nodiscard]] const uint32_t* columnsBegin(uint32_t id) const { return mByName.data() + mNameStart[id]; }
    [[nodiscard]] const uint32_t* columnsEnd(uint32_t id) const { return mByName.data() + mNameStart[id + 1]; }
    // Whether row r has a level for the name.
    [[nodiscard]] bool has(uint32_t r, uint32_t id) const;

private:
    static constexpr uint32_t kBits = 64;

    std::vector<std::string> mColumns;
    // Columns ordered by name, then by position; a name's run starts at mNameStart[id].
    std::vector<uint32_t> mByName;
    std::vector<uint32_t> mNameStart;
    // Names heading more than one column.
    std::vector<uint32_t> mRepeated;
    size_t mWords;
    size_t mRowCount = 0;
    std::vector<float> mCells;
    std::vector<uint64_t> mReceived;
    std::vector<uint8_t> mComplete;
    // The row being built.
    float* mRowCells = nullptr;
    uint64_t* mRowReceived = nullptr;
};

}  // namespace wmpcore
