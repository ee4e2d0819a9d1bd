#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Error.h"
#include "finder/FinderSupport.h"
#include "platform/Application.h"
#include "platform/FileSystem.h"
#include "platform/Pasteboard.h"
#include "platform/Presenter.h"
#include "platform/Workspace.h"

namespace parvel {

enum class TransferOperation { cut, copy };

// Windows-style file transfer in Finder: Command+X or Command+C marks the selection to be moved or
// copied, Command+V puts the items into the folder Finder shows. The mark lives on the general
// pasteboard (the file URLs plus our private type naming the operation), so other applications
// can still paste the files, a restart between the keys loses nothing, and anything else copied
// afterwards silently cancels the transfer. What this object holds is only a cache of that mark.
// Files are never overwritten: a name already taken gets a number ("report 2.pdf").
class FinderUpgradeController {
  public:
    struct Services {
        FinderSupport& finder;
        platform::Pasteboard& pasteboard;
        platform::FileSystem& files;
        platform::Presenter& presenter;
        platform::Workspace& workspace;
        platform::Application& application;
    };

    static constexpr std::string_view kTransferModePasteboardType =
        "com.tarnby.parvelmac.file-transfer-mode";
    static constexpr std::string_view kErrorDomain = "ParvelMac.FileTransfer";

    explicit FinderUpgradeController(Services services) : services_(services) {}

    // Marks Finder's selection (the items that exist) on the pasteboard; false when nothing
    // usable is selected, leaving the pasteboard and any earlier transfer as they were.
    bool captureSelection(TransferOperation operation);
    // Whether a transfer is pending. Asked inside the keyboard tap: when the pasteboard has not
    // changed it costs one change-count read.
    bool hasManagedTransfer();
    // Moves or copies the pending items into `destination`, or Finder's current folder. True when
    // at least one item ended up there; an error listing every item that failed. A cut is
    // forgotten afterwards whatever happened; a copy stays pending for another paste.
    Result<bool> pasteManagedItems(const std::optional<std::string>& destination);
    // Asks for a folder in an open panel and moves the selection there, then shows the moved
    // items in Finder.
    void moveSelectionToFolder();
    // Forgets the transfer; the pasteboard is left alone, but its mark no longer counts.
    void clearTransfer();

    const std::vector<std::string>& transferURLs() const { return transferURLs_; }
    std::optional<TransferOperation> transferOperation() const { return transferOperation_; }

    // The first free name for `source` in `folder`: its own name, then "name 2.ext", "name 3.ext"…
    std::string uniqueDestination(const std::string& source, const std::string& folder) const;

  private:
    struct Outcome {
        std::vector<std::string> done;
        std::vector<std::string> failures;  // "name: reason"
    };

    // Rebuilds or drops the cached transfer from the pasteboard, whose change count is given.
    void synchronizeManagedTransferFromPasteboard(std::int64_t changeCount);
    bool holdsTransfer() const { return !transferURLs_.empty() && transferOperation_.has_value(); }
    std::vector<std::string> existing(const std::vector<std::string>& paths) const;
    void transferItem(TransferOperation operation, const std::string& source,
                      const std::string& folder, Outcome& outcome);
    static std::string failureLine(const std::string& source, const Error& error);

    Services services_;
    std::vector<std::string> transferURLs_;
    std::optional<TransferOperation> transferOperation_;
    std::int64_t transferPasteboardChangeCount_ = -1;
    // The pasteboard's mark of a transfer we forgot (a cut pasted, the switch turned off) stays
    // until something else is copied; it must not bring that transfer back.
    std::int64_t forgottenChangeCount_ = -1;
};

}  // namespace parvel
