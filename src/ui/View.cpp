#include "ui/View.h"

namespace parvel::ui {

ViewPtr findView(const ViewPtr& root, const std::string& identifierOrText) {
    std::vector<ViewPtr> pending{root};
    ViewPtr byText;
    while (!pending.empty()) {
        ViewPtr view = std::move(pending.back());
        pending.pop_back();
        if (!view) {
            continue;
        }
        if (view->identifier == identifierOrText) {
            return view;
        }
        if (!byText && view->text == identifierOrText) {
            byText = view;
        }
        pending.insert(pending.end(), view->children.rbegin(), view->children.rend());
    }
    return byText;
}

ViewPtr makeLabel(std::string text, Font font, Color color) {
    auto view = std::make_shared<View>();
    view->kind = ViewKind::Label;
    view->text = std::move(text);
    view->font = font;
    view->color = std::move(color);
    return view;
}

ViewPtr makeButton(std::string title, std::function<void()> action) {
    auto view = std::make_shared<View>();
    view->kind = ViewKind::Button;
    view->text = std::move(title);
    view->onAction = std::move(action);
    return view;
}

ViewPtr makeSwitch(bool isOn, std::function<void()> action) {
    auto view = std::make_shared<View>();
    view->kind = ViewKind::Switch;
    view->isOn = isOn;
    view->onAction = std::move(action);
    return view;
}

ViewPtr makeStack(Axis axis, double spacing, std::vector<ViewPtr> children) {
    auto view = std::make_shared<View>();
    view->kind = ViewKind::Stack;
    view->axis = axis;
    view->spacing = spacing;
    view->children = std::move(children);
    return view;
}

}  // namespace parvel::ui
