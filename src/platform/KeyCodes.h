#pragma once

#include <cstdint>

namespace parvel::platform {

// macOS virtual key codes: where a key sits on the keyboard, whatever it types.
namespace key_code {

// Letters and digits.
inline constexpr std::int64_t kA = 0;
inline constexpr std::int64_t kB = 11;
inline constexpr std::int64_t kC = 8;
inline constexpr std::int64_t kD = 2;
inline constexpr std::int64_t kE = 14;
inline constexpr std::int64_t kF = 3;
inline constexpr std::int64_t kG = 5;
inline constexpr std::int64_t kH = 4;
inline constexpr std::int64_t kI = 34;
inline constexpr std::int64_t kJ = 38;
inline constexpr std::int64_t kK = 40;
inline constexpr std::int64_t kL = 37;
inline constexpr std::int64_t kM = 46;
inline constexpr std::int64_t kN = 45;
inline constexpr std::int64_t kO = 31;
inline constexpr std::int64_t kP = 35;
inline constexpr std::int64_t kQ = 12;
inline constexpr std::int64_t kR = 15;
inline constexpr std::int64_t kS = 1;
inline constexpr std::int64_t kT = 17;
inline constexpr std::int64_t kU = 32;
inline constexpr std::int64_t kV = 9;
inline constexpr std::int64_t kW = 13;
inline constexpr std::int64_t kX = 7;
inline constexpr std::int64_t kY = 16;
inline constexpr std::int64_t kZ = 6;
inline constexpr std::int64_t k0 = 29;
inline constexpr std::int64_t k1 = 18;
inline constexpr std::int64_t k2 = 19;
inline constexpr std::int64_t k3 = 20;
inline constexpr std::int64_t k4 = 21;
inline constexpr std::int64_t k5 = 23;
inline constexpr std::int64_t k6 = 22;
inline constexpr std::int64_t k7 = 26;
inline constexpr std::int64_t k8 = 28;
inline constexpr std::int64_t k9 = 25;

// Punctuation.
inline constexpr std::int64_t kRightBracket = 30;
inline constexpr std::int64_t kLeftBracket = 33;
inline constexpr std::int64_t kComma = 43;
inline constexpr std::int64_t kPeriod = 47;

// Editing and navigation.
inline constexpr std::int64_t kReturn = 36;
inline constexpr std::int64_t kTab = 48;
inline constexpr std::int64_t kSpace = 49;
inline constexpr std::int64_t kDelete = 51;
inline constexpr std::int64_t kEscape = 53;
inline constexpr std::int64_t kKeypadEnter = 76;
inline constexpr std::int64_t kForwardDelete = 117;
inline constexpr std::int64_t kLeftArrow = 123;
inline constexpr std::int64_t kRightArrow = 124;
inline constexpr std::int64_t kDownArrow = 125;
inline constexpr std::int64_t kUpArrow = 126;

// Modifier keys, which arrive as flags-changed events.
inline constexpr std::int64_t kLeftCommand = 55;
inline constexpr std::int64_t kLeftShift = 56;
inline constexpr std::int64_t kCapsLock = 57;
inline constexpr std::int64_t kLeftOption = 58;
inline constexpr std::int64_t kLeftControl = 59;
inline constexpr std::int64_t kRightShift = 60;
inline constexpr std::int64_t kRightOption = 61;
inline constexpr std::int64_t kRightControl = 62;
inline constexpr std::int64_t kFunction = 63;

// Function keys.
inline constexpr std::int64_t kF1 = 122;
inline constexpr std::int64_t kF2 = 120;
inline constexpr std::int64_t kF3 = 99;
inline constexpr std::int64_t kF4 = 118;
inline constexpr std::int64_t kF5 = 96;
inline constexpr std::int64_t kF6 = 97;
inline constexpr std::int64_t kF7 = 98;
inline constexpr std::int64_t kF8 = 100;
inline constexpr std::int64_t kF9 = 101;
inline constexpr std::int64_t kF10 = 109;
inline constexpr std::int64_t kF11 = 103;
inline constexpr std::int64_t kF12 = 111;

}  // namespace key_code

// Special keys (display brightness, keyboard illumination) arrive as system-defined events of
// one subtype, with the key's code in the upper half of data1 and its state in the second byte.
namespace special_key {

inline constexpr std::int64_t kEventSubtype = 8;
inline constexpr int kCodeShift = 16;
inline constexpr std::int64_t kStateMask = 0xff00;
inline constexpr std::int64_t kDownState = 0x0a00;
inline constexpr std::int64_t kUpState = 0x0b00;

inline constexpr std::int64_t kBrightnessUp = 2;
inline constexpr std::int64_t kBrightnessDown = 3;
inline constexpr std::int64_t kIlluminationUp = 21;
inline constexpr std::int64_t kIlluminationDown = 22;

// The data1 of a special key's event.
constexpr std::int64_t data1(std::int64_t code, std::int64_t state) {
    return (code << kCodeShift) | state;
}

}  // namespace special_key

}  // namespace parvel::platform
