#pragma once

#include <cstdint>
#include <expected>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "platform/PlistValue.h"

namespace parvel::platform {

using AudioObjectId = std::uint32_t;
using AudioStatus = std::int32_t;  // OSStatus: 0 is success
using AudioIOProcId = std::uint64_t;

inline constexpr AudioObjectId kAudioSystemObject = 1;
inline constexpr AudioStatus kAudioNoError = 0;

// A four-character code as Core Audio writes them ('dOut', 'volm'...).
constexpr std::uint32_t fourCharCode(const char (&code)[5]) {
    return std::uint32_t(std::uint8_t(code[0])) << 24 | std::uint32_t(std::uint8_t(code[1])) << 16 |
           std::uint32_t(std::uint8_t(code[2])) << 8 | std::uint32_t(std::uint8_t(code[3]));
}

enum class AudioScope : std::uint32_t {
    Global = fourCharCode("glob"),
    Input = fourCharCode("inpt"),
    Output = fourCharCode("outp"),
};

struct AudioPropertyAddress {
    std::uint32_t selector = 0;
    AudioScope scope = AudioScope::Global;
    std::uint32_t element = 0;  // 0 is the main element
    friend bool operator==(const AudioPropertyAddress&, const AudioPropertyAddress&) = default;
};

// A process tap to create (CATapDescription).
struct ProcessTapDescription {
    std::string name;
    std::vector<AudioObjectId> processes;
    bool isPrivate = true;
    bool isMixdown = true;
    bool isMono = false;
    bool isExclusive = false;
    int muteBehavior = 0;  // 2 = muted while tapped
};

// One buffer of interleaved 32-bit float samples handed to an IO procedure.
struct AudioBuffer {
    std::uint32_t channels = 0;
    std::uint32_t byteSize = 0;
    float* data = nullptr;
};

// Runs on the device's real-time thread: it must not allocate, lock or block.
using AudioIOBlock =
    std::function<void(std::span<const AudioBuffer> input, std::span<AudioBuffer> output)>;

// The audio hardware service (Core Audio, macOS 14.2 and later).
class Audio {
  public:
    virtual ~Audio() = default;

    // Whether process taps exist on this system at all.
    virtual bool supportsProcessTaps() const = 0;

    // AudioObjectHasProperty.
    virtual bool hasProperty(AudioObjectId object, const AudioPropertyAddress& address) const = 0;
    // AudioObjectIsPropertySettable.
    [[nodiscard]] virtual std::expected<bool, AudioStatus> isPropertySettable(
        AudioObjectId object, const AudioPropertyAddress& address) const = 0;
    // AudioObjectGetPropertyDataSize, in bytes.
    [[nodiscard]] virtual std::expected<std::uint32_t, AudioStatus> propertyDataSize(
        AudioObjectId object, const AudioPropertyAddress& address) const = 0;
    // Reads `byteSize` bytes of a property as 32-bit unsigned values (object lists, ids).
    [[nodiscard]] virtual std::expected<std::vector<std::uint32_t>, AudioStatus> readUInt32Values(
        AudioObjectId object, const AudioPropertyAddress& address,
        std::uint32_t byteSize) const = 0;
    // Reads a string property (a CFString); an empty reference reads as "".
    [[nodiscard]] virtual std::expected<std::string, AudioStatus> readString(
        AudioObjectId object, const AudioPropertyAddress& address) const = 0;
    // Reads a 32-bit float property (volume scalars).
    [[nodiscard]] virtual std::expected<float, AudioStatus> readFloat32(
        AudioObjectId object, const AudioPropertyAddress& address) const = 0;
    // Writes a 32-bit float property.
    virtual AudioStatus writeFloat32(AudioObjectId object, const AudioPropertyAddress& address,
                                     float value) = 0;
    // Reads a stream configuration (an AudioBufferList) and returns its number of buffers.
    [[nodiscard]] virtual std::expected<std::uint32_t, AudioStatus> readStreamBufferCount(
        AudioObjectId object, const AudioPropertyAddress& address) const = 0;

    // AudioHardwareCreateProcessTap / AudioHardwareDestroyProcessTap.
    [[nodiscard]] virtual std::expected<AudioObjectId, AudioStatus> createProcessTap(
        const ProcessTapDescription& description) = 0;
    virtual AudioStatus destroyProcessTap(AudioObjectId tap) = 0;
    // AudioHardwareCreateAggregateDevice with its description dictionary / destroy.
    [[nodiscard]] virtual std::expected<AudioObjectId, AudioStatus> createAggregateDevice(
        const PlistDictionary& description) = 0;
    virtual AudioStatus destroyAggregateDevice(AudioObjectId device) = 0;

    // AudioDeviceCreateIOProcIDWithBlock with no queue: the block runs on the real-time thread.
    [[nodiscard]] virtual std::expected<AudioIOProcId, AudioStatus> createIOProc(
        AudioObjectId device, AudioIOBlock block) = 0;
    virtual AudioStatus startDevice(AudioObjectId device, AudioIOProcId proc) = 0;
    virtual AudioStatus stopDevice(AudioObjectId device, AudioIOProcId proc) = 0;
    virtual AudioStatus destroyIOProc(AudioObjectId device, AudioIOProcId proc) = 0;
};

}  // namespace parvel::platform
