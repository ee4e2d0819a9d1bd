#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/Events.h"
#include "platform/Geometry.h"

namespace parvel::ui {

// A colour by the system's semantic name ("systemGreen", "secondaryLabelColor"...), so that a
// presenter can follow light and dark appearance.
struct Color {
    std::string name = "labelColor";

    static Color label() { return {"labelColor"}; }
    static Color secondaryLabel() { return {"secondaryLabelColor"}; }
    static Color systemGreen() { return {"systemGreen"}; }
    static Color systemOrange() { return {"systemOrange"}; }
    static Color systemRed() { return {"systemRed"}; }
    static Color systemBlue() { return {"systemBlue"}; }
    friend bool operator==(const Color&, const Color&) = default;
};

struct Font {
    enum class Weight { Regular, Medium, Semibold, Bold };
    double size = 13;
    Weight weight = Weight::Regular;
    friend bool operator==(const Font&, const Font&) = default;
};

struct Insets {
    double top = 0;
    double left = 0;
    double bottom = 0;
    double right = 0;
};

enum class ViewKind {
    Label,
    Button,
    Switch,
    Checkbox,
    PopUpButton,
    PullDownButton,  // a menu of checkable items behind one title
    Slider,
    TextField,
    SecureTextField,
    SearchField,
    Table,
    Stack,
    ScrollView,
    Image,
    Box,
    VisualEffect,
    Separator,
};

enum class Axis { Vertical, Horizontal };
enum class Alignment { Leading, Center, Trailing, Fill };

// One control or container of the retained UI tree that feature code builds and a presenter
// shows. Feature code changes the fields directly (a label's text, a switch's state); the
// presenter reads them when it draws or when a test inspects the tree. Callbacks run on the
// main thread after the presenter has updated the state they report.
struct View {
    ViewKind kind = ViewKind::Box;
    std::string identifier;  // stable name for tests and scenarios

    // Content.
    std::string text;  // label text, button title, field value
    std::string placeholder;
    std::string toolTip;
    std::string imageName;  // a resource or SF Symbol name
    bool imageIsTemplate = false;
    Font font;
    Color color;
    int maximumLines = 0;  // 0: as many as needed

    // State.
    bool enabled = true;
    bool hidden = false;
    bool isOn = false;               // switches and checkboxes
    std::vector<std::string> items;  // pop-up and pull-down items, table rows
    std::vector<bool> itemStates;    // check marks of pull-down items
    int selectedIndex = -1;          // pop-ups and tables; -1 for none
    double value = 0;                // sliders
    double minValue = 0;
    double maxValue = 1;
    double rowHeight = 0;  // tables

    // Layout.
    Axis axis = Axis::Vertical;
    Alignment alignment = Alignment::Leading;
    double spacing = 0;
    Insets insets;
    std::optional<platform::Size> size;  // a fixed size, when the layout does not decide it

    std::vector<std::shared_ptr<View>> children;

    // Behaviour.
    std::function<void()> onAction;      // press, toggle, choice, Return in a field, slider move
    std::function<void()> onTextChange;  // every edit of a field
    std::function<void(int clickedRow)> onDoubleClick;  // tables; -1 off the rows
    std::function<void(bool inside)> onHover;           // the pointer entered or left the view
    // A key press while the view has focus; true when the view consumed it.
    std::function<bool(const platform::Event&)> onKeyDown;
};

using ViewPtr = std::shared_ptr<View>;

// The first view of a subtree, depth first, whose identifier is `identifierOrText` or, when no
// identifier matches, whose text is.
ViewPtr findView(const ViewPtr& root, const std::string& identifierOrText);

// Builders for the common controls.
ViewPtr makeLabel(std::string text, Font font = {}, Color color = Color::label());
ViewPtr makeButton(std::string title, std::function<void()> action);
ViewPtr makeSwitch(bool isOn, std::function<void()> action);
ViewPtr makeStack(Axis axis, double spacing, std::vector<ViewPtr> children);

}  // namespace parvel::ui
