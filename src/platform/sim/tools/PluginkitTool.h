#pragma once

#include <string_view>

#include "platform/sim/SimProcesses.h"

namespace parvel::sim {

class PluginRegistry;

// "/usr/bin/pluginkit" over the plug-in registry:
//   -a PATH...                  registers extension bundles
//   -e use|ignore|default -i ID sets an election
//   -m [-A] [-D] [-i ID]        lists matches as "+    ID(VERSION)": "+" elected for use, "-"
//                               ignored, " " no choice made; nothing for an unknown ID
// The registry holds one version per identifier, so -A and -D change nothing.
class PluginkitTool {
  public:
    static constexpr std::string_view kPath = "/usr/bin/pluginkit";

    explicit PluginkitTool(PluginRegistry& registry) : registry_(registry) {}

    ToolResult run(const ToolArguments& arguments);

  private:
    PluginRegistry& registry_;
};

}  // namespace parvel::sim
