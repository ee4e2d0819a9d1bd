#include "clipboard/ClipboardHistoryWindowController.h"

#include "base/Unicode.h"

namespace parvel {

namespace {

constexpr platform::Size kContentSize{520, 420};
constexpr platform::Size kMinimumListSize{480, 320};
constexpr double kSpacing = 10;
constexpr ui::Insets kInsets{14, 14, 14, 14};
constexpr int kPreviewLines = 2;

}  // namespace

ClipboardHistoryWindowController::ClipboardHistoryWindowController(platform::Presenter& presenter)
    : presenter_(presenter) {
    buildWindow();
}

void ClipboardHistoryWindowController::buildWindow() {
    search_ = std::make_shared<ui::View>();
    search_->kind = ui::ViewKind::SearchField;
    search_->identifier = "search";
    search_->placeholder = "Search clipboard history";
    search_->onTextChange = lifetime_.guard([this] { applyFilter(); });

    // One column ("entry", 480 wide, its header removed); each row shows a two-line preview.
    table_ = std::make_shared<ui::View>();
    table_->kind = ui::ViewKind::Table;
    table_->identifier = "entry";
    table_->rowHeight = kRowHeight;
    table_->maximumLines = kPreviewLines;
    table_->onDoubleClick = lifetime_.guard([this](int clickedRow) { useSelected(clickedRow); });

    auto scroll = std::make_shared<ui::View>();
    scroll->kind = ui::ViewKind::ScrollView;
    scroll->size = kMinimumListSize;
    scroll->children = {table_};

    auto stack = ui::makeStack(ui::Axis::Vertical, kSpacing, {search_, scroll});
    stack->alignment = ui::Alignment::Fill;
    stack->insets = kInsets;

    window_ = std::make_shared<ui::Window>();
    window_->identifier = "clipboard-history";
    window_->title = "Clipboard History";
    window_->contentSize = kContentSize;
    window_->style.titled = true;
    window_->style.closable = true;
    window_->style.resizable = true;
    window_->style.miniaturizable = false;
    window_->releasedWhenClosed = false;
    window_->hidesOnClose = true;
    window_->content = stack;
}

void ClipboardHistoryWindowController::applyFilter() {
    const std::string query = lowercased(search_->text);
    filtered_.clear();
    for (const auto& entry : entries) {
        if (query.empty() || lowercased(entry.preview).find(query) != std::string::npos) {
            filtered_.push_back(entry);
        }
    }
    table_->items.clear();
    for (const auto& entry : filtered_) {
        table_->items.push_back(entry.preview);
    }
    if (table_->selectedIndex >= static_cast<int>(filtered_.size())) {
        table_->selectedIndex = -1;
    }
}

void ClipboardHistoryWindowController::useSelected(int clickedRow) {
    const int row = clickedRow >= 0 ? clickedRow : table_->selectedIndex;
    if (row < 0 || row >= static_cast<int>(filtered_.size())) {
        return;
    }
    if (onSelect) {
        const ClipboardEntry chosen = filtered_[static_cast<std::size_t>(row)];
        onSelect(chosen);
    }
    hide();
}

void ClipboardHistoryWindowController::show() {
    presenter_.showWindow(window_, true, true);
}

void ClipboardHistoryWindowController::hide() {
    presenter_.orderOut(*window_);
}

bool ClipboardHistoryWindowController::isVisible() const {
    return presenter_.isVisible(*window_);
}

}  // namespace parvel
