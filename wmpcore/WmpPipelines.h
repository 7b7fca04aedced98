#pragma once

#include <string>
#include <vector>

#include "WmpParam.h"

namespace wmpcore {

// Model text after BSSID selection, batch clustering and the cluster filter.
[[nodiscard]] std::string trainDataStr(std::vector<std::string> rawFingers, Param param,
                                       std::vector<std::string> bssidList);
// Model text from all BSSID columns, without selection.
[[nodiscard]] std::string trainData(std::vector<std::string> rawFingers, Param param);
// The table after BSSID selection as text; empty when nothing was selected.
[[nodiscard]] std::string getCoreData(std::vector<std::string> rawFingers, Param param,
                                      std::vector<std::string> bssidList);

}  // namespace wmpcore
