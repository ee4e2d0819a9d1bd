#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/Geometry.h"
#include "ui/Alert.h"
#include "ui/Menu.h"
#include "ui/View.h"
#include "ui/Window.h"

namespace parvel::sim {

// How the simulated screen puts what it shows into words: the names in its trace entries and
// refusals, and the dumps of the scenario runner's `show`. Everything it returns fits on one line
// per control, so a trace reads line by line.

// Secure text never reaches the trace or a dump, not even its length.
inline constexpr std::string_view kSecureTextShown = "‘••••••••’";

std::string_view kindName(ui::ViewKind kind);
std::string_view styleName(ui::AlertStyle style);
// Keeps every trace entry and dump row on one line.
std::string oneLine(std::string_view text);
std::string quoted(std::string_view text);
std::string quotedList(const std::vector<std::string>& texts);
std::string_view onOff(bool isOn);
// How a control is named in the trace: the title the user reads, else its identifier.
std::string viewName(const ui::View& view);
// How a control is listed in an error: what a test would pass to find it.
std::string listedName(const ui::View& view);
std::string windowName(const ui::Window& window);
std::string formatSize(platform::Size size);
// "message | informative text | [OK] [Cancel]".
std::string alertLine(const ui::Alert& alert);
// "title | message | [Open]".
std::string openPanelLine(const ui::OpenPanel& panel);
// Appends one line per control, children indented below their parent, `depth` levels in.
void describeTree(const ui::ViewPtr& view, int depth, std::string& out);
// Appends one line per item, a submenu's items and an item's own view indented below it.
void describeMenu(const ui::Menu& menu, int depth, std::string& out);

}  // namespace parvel::sim
