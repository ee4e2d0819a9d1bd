#include "platform/sim/ScreenText.h"

#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace parvel::sim {

using ui::View;
using ui::ViewKind;
using ui::ViewPtr;

namespace {

constexpr std::string_view kDefaultOpenPanelPrompt = "Open";
constexpr std::string_view kDefaultColor = "labelColor";
constexpr std::string_view kIndent = "  ";

// Kinds whose text is the title the user reads on them; other kinds' text is their value.
bool textIsTitle(ViewKind kind) {
    return kind == ViewKind::Label || kind == ViewKind::Button || kind == ViewKind::Switch ||
           kind == ViewKind::Checkbox || kind == ViewKind::PullDownButton;
}

std::string describeState(const View& view) {
    switch (view.kind) {
        case ViewKind::Switch:
        case ViewKind::Checkbox:
            return std::string(onOff(view.isOn));
        case ViewKind::PopUpButton:
            if (view.selectedIndex >= 0 && std::cmp_less(view.selectedIndex, view.items.size())) {
                return "selected " +
                       quoted(view.items[static_cast<std::size_t>(view.selectedIndex)]);
            }
            return "nothing selected";
        case ViewKind::PullDownButton: {
            std::vector<std::string> items;
            for (std::size_t index = 0; index < view.items.size(); ++index) {
                const bool checked = index < view.itemStates.size() && view.itemStates[index];
                items.push_back(quoted(view.items[index]) + (checked ? " ✓" : ""));
            }
            return fmt::format("items {}", fmt::join(items, ", "));
        }
        case ViewKind::Slider:
            return fmt::format("value {} of {}…{}", view.value, view.minValue, view.maxValue);
        case ViewKind::Table:
            return fmt::format("{} rows", view.items.size());
        default:
            return {};
    }
}

std::string describeLine(const View& view) {
    std::vector<std::string> parts{std::string(kindName(view.kind))};
    if (!view.identifier.empty()) {
        parts.push_back("#" + view.identifier);
    }
    if (!view.text.empty()) {
        parts.push_back(view.kind == ViewKind::SecureTextField ? std::string(kSecureTextShown)
                                                               : quoted(view.text));
    }
    if (!view.placeholder.empty()) {
        parts.push_back("placeholder " + quoted(view.placeholder));
    }
    if (view.color.name != kDefaultColor) {
        parts.push_back(view.color.name);
    }
    if (auto state = describeState(view); !state.empty()) {
        parts.push_back(std::move(state));
    }
    if (!view.enabled) {
        parts.push_back("disabled");
    }
    if (view.hidden) {
        parts.push_back("hidden");
    }
    return fmt::format("{}", fmt::join(parts, " "));
}

std::string indent(int depth) {
    std::string prefix;
    for (int level = 0; level < depth; ++level) {
        prefix += kIndent;
    }
    return prefix;
}

}  // namespace

std::string_view kindName(ViewKind kind) {
    switch (kind) {
        case ViewKind::Label:
            return "Label";
        case ViewKind::Button:
            return "Button";
        case ViewKind::Switch:
            return "Switch";
        case ViewKind::Checkbox:
            return "Checkbox";
        case ViewKind::PopUpButton:
            return "PopUpButton";
        case ViewKind::PullDownButton:
            return "PullDownButton";
        case ViewKind::Slider:
            return "Slider";
        case ViewKind::TextField:
            return "TextField";
        case ViewKind::SecureTextField:
            return "SecureTextField";
        case ViewKind::SearchField:
            return "SearchField";
        case ViewKind::Table:
            return "Table";
        case ViewKind::Stack:
            return "Stack";
        case ViewKind::ScrollView:
            return "ScrollView";
        case ViewKind::Image:
            return "Image";
        case ViewKind::Box:
            return "Box";
        case ViewKind::VisualEffect:
            return "VisualEffect";
        case ViewKind::Separator:
            return "Separator";
    }
    return "View";
}

std::string_view styleName(ui::AlertStyle style) {
    switch (style) {
        case ui::AlertStyle::Warning:
            return "warning";
        case ui::AlertStyle::Informational:
            return "informational";
        case ui::AlertStyle::Critical:
            return "critical";
    }
    return "alert";
}

std::string oneLine(std::string_view text) {
    std::string line;
    for (const char character : text) {
        if (character == '\n') {
            line += "\\n";
        } else {
            line += character;
        }
    }
    return line;
}

std::string quoted(std::string_view text) {
    return fmt::format("‘{}’", oneLine(text));
}

std::string quotedList(const std::vector<std::string>& texts) {
    std::vector<std::string> quotedTexts;
    for (const auto& text : texts) {
        quotedTexts.push_back(quoted(text));
    }
    return fmt::format("{}", fmt::join(quotedTexts, ", "));
}

std::string_view onOff(bool isOn) {
    return isOn ? "on" : "off";
}

std::string viewName(const View& view) {
    if (textIsTitle(view.kind) && !view.text.empty()) {
        return oneLine(view.text);
    }
    if (!view.identifier.empty()) {
        return view.identifier;
    }
    if (!view.placeholder.empty()) {
        return oneLine(view.placeholder);
    }
    return std::string(kindName(view.kind));
}

std::string listedName(const View& view) {
    if (!view.identifier.empty()) {
        return "#" + view.identifier;
    }
    if (view.kind == ViewKind::SecureTextField || view.text.empty()) {
        return {};
    }
    return quoted(view.text);
}

std::string windowName(const ui::Window& window) {
    if (!window.title.empty()) {
        return oneLine(window.title);
    }
    if (!window.identifier.empty()) {
        return window.identifier;
    }
    return "untitled window";
}

std::string formatSize(platform::Size size) {
    return fmt::format("{}×{}", size.width, size.height);
}

std::string alertLine(const ui::Alert& alert) {
    std::vector<std::string> parts{oneLine(alert.messageText)};
    if (!alert.informativeText.empty()) {
        parts.push_back(oneLine(alert.informativeText));
    }
    std::vector<std::string> buttons;
    for (const auto& button : alert.buttons) {
        buttons.push_back(fmt::format("[{}]", button.title));
    }
    parts.push_back(fmt::format("{}", fmt::join(buttons, " ")));
    return fmt::format("{}", fmt::join(parts, " | "));
}

std::string openPanelLine(const ui::OpenPanel& panel) {
    std::vector<std::string> parts;
    for (const auto* text : {&panel.title, &panel.message}) {
        if (!text->empty()) {
            parts.push_back(oneLine(*text));
        }
    }
    parts.push_back(fmt::format(
        "[{}]", panel.prompt.empty() ? std::string(kDefaultOpenPanelPrompt) : panel.prompt));
    return fmt::format("{}", fmt::join(parts, " | "));
}

void describeTree(const ViewPtr& view, int depth, std::string& out) {
    if (!view) {
        return;
    }
    out += indent(depth) + describeLine(*view) + "\n";
    if (view->kind == ViewKind::Table) {
        for (std::size_t row = 0; row < view->items.size(); ++row) {
            const bool selected = std::cmp_equal(view->selectedIndex, row);
            out += fmt::format("{}row {} {}{}\n", indent(depth + 1), row, quoted(view->items[row]),
                               selected ? " selected" : "");
        }
    }
    for (const auto& child : view->children) {
        describeTree(child, depth + 1, out);
    }
}

void describeMenu(const ui::Menu& menu, int depth, std::string& out) {
    for (const auto& item : menu.items) {
        if (item->isSeparator) {
            out += indent(depth) + "separator\n";
            continue;
        }
        std::vector<std::string> parts{"item"};
        if (!item->title.empty()) {
            parts.push_back(quoted(item->title));
        }
        if (!item->identifier.empty()) {
            parts.push_back("#" + item->identifier);
        }
        if (item->state == ui::MenuItemState::On) {
            parts.emplace_back("✓");
        } else if (item->state == ui::MenuItemState::Mixed) {
            parts.emplace_back("–");
        }
        if (!item->enabled) {
            parts.emplace_back("disabled");
        }
        if (item->hidden) {
            parts.emplace_back("hidden");
        }
        out += indent(depth) + fmt::format("{}\n", fmt::join(parts, " "));
        describeTree(item->customView, depth + 1, out);
        if (item->submenu) {
            describeMenu(*item->submenu, depth + 1, out);
        }
    }
}

}  // namespace parvel::sim
