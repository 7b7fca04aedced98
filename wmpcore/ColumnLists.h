#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "LevelTable.h"

namespace wmpcore {

// For each BSSID name, every level its columns received while the rows were
// read, in row order (a name heading two columns gets both, row by row): a
// view of the rows' LevelTable, which it keeps alive.
class ColumnLists {
public:
    ColumnLists() = default;
    // The lists of every name of the table.
    explicit ColumnLists(std::shared_ptr<const LevelTable> table);

    [[nodiscard]] size_t size() const { return mKept.size(); }
    [[nodiscard]] size_t count(const std::string& name) const { return find(name) != LevelTable::kNone ? 1 : 0; }
    // The list of `name`; empty when there is none.
    [[nodiscard]] std::vector<float> list(const std::string& name) const;
    // Calls visit(k, level) for the levels of every names[k], each name's in
    // order. The rows are walked once for all the names, in memory order.
    template <typename Visit>
    void forEachLevel(const std::vector<std::string>& names, Visit&& visit) const;
    // Keeps the lists of these names only.
    void keepOnly(const std::vector<std::string>& names);

private:
    [[nodiscard]] uint32_t find(const std::string& name) const;

    std::shared_ptr<const LevelTable> mTable;
    // Numbers of the names whose lists are kept, ascending.
    std::vector<uint32_t> mKept;
};

template <typename Visit>
void ColumnLists::forEachLevel(const std::vector<std::string>& names, Visit&& visit) const {
    // (k, column) for every column of every listed name, in the order a row gives them.
    std::vector<std::pair<size_t, uint32_t>> cols;
    for (size_t k = 0; k < names.size(); ++k) {
        const uint32_t id = find(names[k]);
        if (id == LevelTable::kNone) continue;
        for (const uint32_t* col = mTable->columnsBegin(id); col != mTable->columnsEnd(id); ++col) {
            cols.emplace_back(k, *col);
        }
    }
    if (cols.empty()) return;
    const LevelTable& table = *mTable;
    const auto rows = static_cast<uint32_t>(table.rowCount());
    for (uint32_t r = 0; r < rows; ++r) {
        const float* cells = table.row(r);
        for (const auto& [k, col] : cols) {
            if (table.received(r, col)) visit(k, cells[col]);
        }
    }
}

}  // namespace wmpcore
