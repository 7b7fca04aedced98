#include "RecordText.h"

#include "WmpText.h"

namespace wmpcore {

void appendRecordText(std::string& text, const RecordTextLayout& layout, const std::vector<Record>& records,
                      const std::vector<std::string>& bssids) {
    text.append(layout.fixedHeader);
    for (const std::string& name : bssids) {
        text.append(name);
        text.push_back(',');
    }
    text.append(layout.lastHeader);
    LevelReader levels(bssids);
    for (const Record& record : records) {
        // The first column is the batch number the caller supplied.
        appendInt(text, record.orginBatch);
        text.push_back(',');
        if (layout.withBatch) {
            appendInt(text, record.batch);
            text.push_back(',');
        }
        text.append(record.label).push_back(',');
        text.append(record.timestamp).push_back(',');
        text.append(record.link_speed).push_back(',');
        const auto row = levels.row(record.bssidValues);
        for (size_t k = 0; k < levels.size(); ++k) {
            appendFloat(text, row[k]);
            text.push_back(',');
        }
        if (layout.withPrelabel) {
            appendInt(text, record.prelabel);
            text.push_back(';');
        } else {
            text.back() = ';';
        }
    }
}

void addMissingBssids(std::vector<Record>& records, const std::vector<std::string>& bssids) {
    LevelReader levels(bssids);
    for (Record& record : records) levels.addMissing(record.bssidValues);
}

}  // namespace wmpcore
