#pragma once

#include <string_view>

namespace parvel {

// The privileged helpers, installed once with an administrator's approval. Features that drive a
// helper run it from here; the delegate's installer keeps these files in step with the bundle.
inline constexpr std::string_view installedChargeHelperPath =
    "/Library/PrivilegedHelperTools/com.tarnby.parvelmac.charge-helper";
inline constexpr std::string_view installedLowDataHelperPath =
    "/Library/PrivilegedHelperTools/com.tarnby.parvelmac.lowdata-helper";
inline constexpr std::string_view installedPowerHelperPath =
    "/Library/PrivilegedHelperTools/com.tarnby.parvelmac.power-helper";

}  // namespace parvel
