#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"

namespace parvel {

enum class TransferOperation { cut, copy };

// File Cut, Copy and Paste in Finder over the pasteboard, marked with a private pasteboard type.
// Until its feature is built it keeps the state the application delegate gives it.
class FinderUpgradeController {
  public:
    static constexpr std::string_view kTransferModeType = "com.tarnby.parvelmac.file-transfer-mode";

    // Whether Command+V should paste a transfer of ours instead of reaching Finder.
    bool hasManagedTransfer() const { return !transferURLs_.empty(); }
    // Marks Finder's selection for a transfer; false when nothing was selected.
    bool captureSelection(TransferOperation operation) {
        operation_ = operation;
        return !transferURLs_.empty();
    }
    // Moves or copies the marked items into a folder, Finder's current one when none is given.
    Result<void> pasteManagedItems(const std::optional<std::string>& destination) {
        (void)destination;
        return {};
    }

  private:
    std::vector<std::string> transferURLs_;
    std::optional<TransferOperation> operation_;
    std::int64_t pasteboardChangeCount_ = -1;
};

}  // namespace parvel
