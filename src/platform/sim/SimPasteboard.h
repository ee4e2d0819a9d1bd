#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/Pasteboard.h"

namespace parvel::sim {

class Trace;

// One item on the pasteboard with its representations, in order of preference.
struct PasteboardItem {
    std::vector<std::pair<std::string, Bytes>> representations;
};

// The general pasteboard of the simulated Mac. As on the real one, clearing it takes ownership
// and raises the change count by one; writes after that leave the count alone; a copy in another
// application clears and writes in one step, so it too raises the count by one, and ends our
// ownership: writes fail until we clear it again. Text of a type reads as the text of every item
// holding that type, one line each; data of a type comes from the first item holding it.
class SimPasteboard final : public platform::Pasteboard {
  public:
    explicit SimPasteboard(Trace& trace) : trace_(trace) {}

    std::int64_t changeCount() const override { return changeCount_; }
    std::int64_t clearContents() override;
    bool writeFileURLs(const std::vector<std::string>& paths) override;
    bool setString(std::string_view value, std::string_view type) override;
    bool setData(const Bytes& value, std::string_view type) override;
    std::optional<std::string> string(std::string_view type) const override;
    std::optional<Bytes> data(std::string_view type) const override;
    std::vector<std::string> fileURLs() const override;
    std::vector<std::string> types() const override;

    // Another application copies: text, files (as Finder does: a file URL and the name per item),
    // or image data of a type (PNG or TIFF); or any items.
    void copyFromApplication(const std::string& application, std::vector<PasteboardItem> items);
    void copyText(const std::string& application, const std::string& text);
    void copyFiles(const std::vector<std::string>& paths);
    void copyImage(const std::string& application, const Bytes& image, std::string_view type);
    const std::vector<PasteboardItem>& items() const { return items_; }

  private:
    PasteboardItem& firstItem();
    const Bytes* find(std::string_view type) const;
    // True while the contents are ours; a refused write is traced.
    bool mayWrite();

    Trace& trace_;
    std::int64_t changeCount_ = 0;
    // The change count our last clearContents() gave, while no other application copied since.
    std::optional<std::int64_t> ownChangeCount_;
    std::vector<PasteboardItem> items_;
};

}  // namespace parvel::sim
