#include "finder/FinderUpgradeController.h"

#include <limits>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "base/Fatal.h"
#include "base/FileURL.h"
#include "ui/Alert.h"

namespace parvel {

namespace {

constexpr std::string_view kCutMarker = "cut";
constexpr std::string_view kCopyMarker = "copy";
constexpr std::string_view kMoveFailureMessage = "Some items could not be moved";

std::string_view markerOf(TransferOperation operation) {
    return operation == TransferOperation::copy ? kCopyMarker : kCutMarker;
}

std::optional<TransferOperation> operationNamed(std::string_view marker) {
    if (marker == kCutMarker) {
        return TransferOperation::cut;
    }
    if (marker == kCopyMarker) {
        return TransferOperation::copy;
    }
    return std::nullopt;
}

std::string parentFolder(std::string_view path) {
    const std::string standardized = standardizedPath(path);
    const auto slash = standardized.rfind('/');
    return slash == 0 || slash == std::string::npos ? "/" : standardized.substr(0, slash);
}

// "report.pdf" → ("report", "pdf"); "Makefile" and ".profile" have no extension.
std::pair<std::string, std::string> splitExtension(const std::string& name) {
    const auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0 || dot + 1 == name.size()) {
        return {name, ""};
    }
    return {name.substr(0, dot), name.substr(dot + 1)};
}

}  // namespace

bool FinderUpgradeController::captureSelection(TransferOperation operation) {
    const auto selected = existing(services_.finder.selectedURLs());
    if (selected.empty()) {
        return false;
    }
    transferURLs_ = selected;
    transferOperation_ = operation;
    auto& pasteboard = services_.pasteboard;
    pasteboard.clearContents();
    pasteboard.writeFileURLs(selected);
    pasteboard.setString(markerOf(operation), kTransferModePasteboardType);
    transferPasteboardChangeCount_ = pasteboard.changeCount();
    return true;
}

bool FinderUpgradeController::hasManagedTransfer() {
    const std::int64_t changeCount = services_.pasteboard.changeCount();
    synchronizeManagedTransferFromPasteboard(changeCount);
    if (!holdsTransfer()) {
        return false;
    }
    if (changeCount != transferPasteboardChangeCount_) {
        clearTransfer();
        return false;
    }
    return true;
}

void FinderUpgradeController::synchronizeManagedTransferFromPasteboard(std::int64_t changeCount) {
    if ((holdsTransfer() && changeCount == transferPasteboardChangeCount_) ||
        changeCount == forgottenChangeCount_) {
        return;
    }
    const auto& pasteboard = services_.pasteboard;
    const auto marker = pasteboard.string(kTransferModePasteboardType);
    const auto operation = marker ? operationNamed(*marker) : std::nullopt;
    const auto urls = operation ? pasteboard.fileURLs() : std::vector<std::string>{};
    if (urls.empty()) {
        // No usable mark: whatever we held is stale once the pasteboard moved on.
        if (transferPasteboardChangeCount_ != -1 && changeCount != transferPasteboardChangeCount_) {
            clearTransfer();
        }
        return;
    }
    const auto kept = existing(urls);
    if (kept.empty()) {
        clearTransfer();
        return;
    }
    transferURLs_ = FinderSupport::dedupe(kept);
    transferOperation_ = operation;
    transferPasteboardChangeCount_ = changeCount;
}

void FinderUpgradeController::clearTransfer() {
    if (transferPasteboardChangeCount_ != -1) {
        forgottenChangeCount_ = transferPasteboardChangeCount_;
    }
    transferURLs_.clear();
    transferOperation_.reset();
    transferPasteboardChangeCount_ = -1;
}

Result<bool> FinderUpgradeController::pasteManagedItems(
    const std::optional<std::string>& destination) {
    if (!hasManagedTransfer()) {
        return false;
    }
    const TransferOperation operation = *transferOperation_;
    const std::string folder = destination ? *destination : services_.finder.currentDirectory();
    Outcome outcome;
    for (const auto& source : transferURLs_) {
        // Items deleted since the cut or copy are skipped without a word.
        if (services_.files.exists(source)) {
            transferItem(operation, source, folder, outcome);
        }
    }
    if (operation == TransferOperation::cut) {
        clearTransfer();
    }
    if (!outcome.failures.empty()) {
        return std::unexpected(Error{std::string(kErrorDomain), 1,
                                     fmt::format("{}", fmt::join(outcome.failures, "\n"))});
    }
    return !outcome.done.empty();
}

void FinderUpgradeController::transferItem(TransferOperation operation, const std::string& source,
                                           const std::string& folder, Outcome& outcome) {
    if (operation == TransferOperation::cut && parentFolder(source) == standardizedPath(folder)) {
        // Already where it was asked to go.
        outcome.done.push_back(source);
        return;
    }
    const std::string target = uniqueDestination(source, folder);
    const auto result = operation == TransferOperation::copy
                            ? services_.files.copyItem(source, target)
                            : services_.files.moveItem(source, target);
    if (result) {
        outcome.done.push_back(target);
    } else {
        outcome.failures.push_back(failureLine(source, result.error()));
    }
}

void FinderUpgradeController::moveSelectionToFolder() {
    const auto selected = services_.finder.selectedURLs();
    if (selected.empty()) {
        services_.application.beep();
        return;
    }
    services_.application.activate(true);
    const auto chosen = services_.presenter.runOpenPanel({.title = "Move To",
                                                          .prompt = "Move Here",
                                                          .canChooseFiles = false,
                                                          .canChooseDirectories = true,
                                                          .allowsMultipleSelection = false,
                                                          .canCreateDirectories = true});
    if (chosen.empty()) {
        return;
    }
    Outcome outcome;
    for (const auto& source : selected) {
        const std::string target = uniqueDestination(source, chosen.front());
        if (const auto moved = services_.files.moveItem(source, target); moved) {
            outcome.done.push_back(target);
        } else {
            outcome.failures.push_back(failureLine(source, moved.error()));
        }
    }
    if (!outcome.done.empty()) {
        services_.workspace.revealInFileViewer(outcome.done);
    }
    if (!outcome.failures.empty()) {
        services_.presenter.runModal({ui::AlertStyle::Warning,
                                      std::string(kMoveFailureMessage),
                                      fmt::format("{}", fmt::join(outcome.failures, "\n")),
                                      {},
                                      {}});
    }
}

std::string FinderUpgradeController::uniqueDestination(const std::string& source,
                                                       const std::string& folder) const {
    const std::string name = lastPathComponent(source);
    const std::string base = folder.ends_with('/') ? folder : folder + "/";
    if (!services_.files.exists(base + name)) {
        return base + name;
    }
    const auto [stem, extension] = splitExtension(name);
    for (std::int64_t number = 2; number < std::numeric_limits<std::int64_t>::max(); ++number) {
        std::string candidate = base + stem + " " + std::to_string(number);
        if (!extension.empty()) {
            candidate += "." + extension;
        }
        if (!services_.files.exists(candidate)) {
            return candidate;
        }
    }
    fatalError("no free name left for " + name);
}

std::vector<std::string> FinderUpgradeController::existing(
    const std::vector<std::string>& paths) const {
    std::vector<std::string> kept;
    for (const auto& path : paths) {
        if (services_.files.exists(path)) {
            kept.push_back(path);
        }
    }
    return kept;
}

std::string FinderUpgradeController::failureLine(const std::string& source, const Error& error) {
    return lastPathComponent(source) + ": " + error.description;
}

}  // namespace parvel
