#pragma once

#include <cstdint>
#include <expected>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "platform/Audio.h"
#include "platform/ProcessInfo.h"
#include "platform/Processes.h"

namespace parvel::sim {

class Trace;
struct Permissions;

// The Core Audio statuses the simulated hardware answers with.
namespace audio_status {
inline constexpr platform::AudioStatus kUnknownProperty =
    static_cast<platform::AudioStatus>(platform::fourCharCode("who?"));
inline constexpr platform::AudioStatus kBadObject =
    static_cast<platform::AudioStatus>(platform::fourCharCode("!obj"));
inline constexpr platform::AudioStatus kBadDevice =
    static_cast<platform::AudioStatus>(platform::fourCharCode("!dev"));
inline constexpr platform::AudioStatus kIllegalOperation =
    static_cast<platform::AudioStatus>(platform::fourCharCode("nope"));
inline constexpr platform::AudioStatus kUnsupportedOperation =
    static_cast<platform::AudioStatus>(platform::fourCharCode("unop"));
inline constexpr platform::AudioStatus kBadPropertySize =
    static_cast<platform::AudioStatus>(platform::fourCharCode("!siz"));
}  // namespace audio_status

// One stream of a device: interleaved channels, and whether IO procedures get memory for it (a
// stream an IO procedure does not use reaches it with no memory).
struct SimAudioStream {
    std::uint32_t channels = 2;
    bool enabled = true;
};

// The volume control of one element ('volm' in the output scope).
struct SimVolumeControl {
    float scalar = 1.0F;
    bool settable = true;
};

// A hardware device to plug in. An element missing from `volume` has no volume control.
struct SimAudioDeviceSpec {
    std::string uid;
    std::vector<SimAudioStream> inputs;
    std::vector<SimAudioStream> outputs{SimAudioStream{}};
    std::map<std::uint32_t, SimVolumeControl> volume;
};

// What tests see of the live objects.
struct SimProcessTap {
    platform::AudioObjectId id = 0;
    std::string uid;
    platform::ProcessTapDescription description;
};

struct SimAggregateDevice {
    platform::AudioObjectId id = 0;
    platform::PlistDictionary description;
    std::vector<platform::AudioObjectId> subdevices;
    std::vector<platform::AudioObjectId> taps;
};

struct SimIOProc {
    platform::AudioIOProcId id = 0;
    platform::AudioObjectId device = 0;
    bool running = false;
};

// Every call, whether it succeeded or not.
struct SimAudioCalls {
    int tapCreates = 0;
    int tapDestroys = 0;
    int aggregateCreates = 0;
    int aggregateDestroys = 0;
    int ioProcCreates = 0;
    int ioProcDestroys = 0;
    int starts = 0;
    int stops = 0;
};

// Operations a test can make fail.
enum class SimAudioFault { CreateTap, ReadTapUid, CreateAggregate, CreateIOProc, StartDevice };

// The simulated Mac's audio hardware: output devices with volume controls, the system's audio
// process objects, process taps, private aggregate devices built from devices and taps, and IO
// procedures that tests drive one render cycle at a time.
//
// Where Core Audio leaves an order undefined the model is strict: nothing a running IO cycle reads
// (a running IO procedure, its aggregate device, a tap in it) can be destroyed before the
// procedure is stopped; such calls answer 'nope' and change nothing. Every create, destroy,
// start, stop and volume write goes to the trace.
class SimAudio final : public platform::Audio {
  public:
    static constexpr std::string_view kBuiltInSpeakerUid = "BuiltInSpeakerDevice";

    SimAudio(Permissions& permissions, Trace& trace);

    bool supportsProcessTaps() const override;
    bool hasProperty(platform::AudioObjectId object,
                     const platform::AudioPropertyAddress& address) const override;
    [[nodiscard]] std::expected<bool, platform::AudioStatus> isPropertySettable(
        platform::AudioObjectId object,
        const platform::AudioPropertyAddress& address) const override;
    [[nodiscard]] std::expected<std::uint32_t, platform::AudioStatus> propertyDataSize(
        platform::AudioObjectId object,
        const platform::AudioPropertyAddress& address) const override;
    [[nodiscard]] std::expected<std::vector<std::uint32_t>, platform::AudioStatus> readUInt32Values(
        platform::AudioObjectId object, const platform::AudioPropertyAddress& address,
        std::uint32_t byteSize) const override;
    [[nodiscard]] std::expected<std::string, platform::AudioStatus> readString(
        platform::AudioObjectId object,
        const platform::AudioPropertyAddress& address) const override;
    [[nodiscard]] std::expected<float, platform::AudioStatus> readFloat32(
        platform::AudioObjectId object,
        const platform::AudioPropertyAddress& address) const override;
    platform::AudioStatus writeFloat32(platform::AudioObjectId object,
                                       const platform::AudioPropertyAddress& address,
                                       float value) override;
    [[nodiscard]] std::expected<std::uint32_t, platform::AudioStatus> readStreamBufferCount(
        platform::AudioObjectId object,
        const platform::AudioPropertyAddress& address) const override;

    [[nodiscard]] std::expected<platform::AudioObjectId, platform::AudioStatus> createProcessTap(
        const platform::ProcessTapDescription& description) override;
    platform::AudioStatus destroyProcessTap(platform::AudioObjectId tap) override;
    [[nodiscard]] std::expected<platform::AudioObjectId, platform::AudioStatus>
    createAggregateDevice(const platform::PlistDictionary& description) override;
    platform::AudioStatus destroyAggregateDevice(platform::AudioObjectId device) override;

    [[nodiscard]] std::expected<platform::AudioIOProcId, platform::AudioStatus> createIOProc(
        platform::AudioObjectId device, platform::AudioIOBlock block) override;
    platform::AudioStatus startDevice(platform::AudioObjectId device,
                                      platform::AudioIOProcId proc) override;
    platform::AudioStatus stopDevice(platform::AudioObjectId device,
                                     platform::AudioIOProcId proc) override;
    platform::AudioStatus destroyIOProc(platform::AudioObjectId device,
                                        platform::AudioIOProcId proc) override;

    // The Mac's built-in speakers: two channels, volume on elements 1 and 2 and none on 0.
    static SimAudioDeviceSpec builtInSpeakerSpec();
    // The speakers plugged in at start-up, the default output device until changed.
    platform::AudioObjectId builtInSpeakers() const { return builtInSpeakers_; }
    platform::AudioObjectId addDevice(SimAudioDeviceSpec spec);
    // 0 leaves the Mac with no output device.
    void setDefaultOutputDevice(platform::AudioObjectId device);
    float volume(platform::AudioObjectId device, std::uint32_t element) const;

    // Audio process objects, listed in the order they were added.
    platform::AudioObjectId addProcess(platform::ProcessId pid, std::string bundleIdentifier,
                                       bool runningOutput = true);
    void removeProcess(platform::AudioObjectId process);
    void setRunningOutput(platform::AudioObjectId process, bool running);
    // Interleaved stereo samples the process plays in a loop, in step with the render cycles:
    // the Mac's n-th frame since start-up plays pair n modulo their count.
    void setProcessSamples(platform::AudioObjectId process, std::vector<float> samples);
    // Whether the process's own output is silenced by a tap that mutes it.
    bool isProcessMuted(platform::AudioObjectId process) const;

    // Process taps exist from macOS 14.2 on.
    void setOperatingSystemVersion(platform::OperatingSystemVersion version) { version_ = version; }

    // The fault stays until cleared. Tap faults can be limited to taps of one process (0: any).
    void injectFault(SimAudioFault fault, platform::AudioStatus status,
                     platform::AudioObjectId process = 0);
    void clearFault(SimAudioFault fault) { faults_.erase(fault); }
    // Reads (and size queries) of the property fail until cleared; object 0 means every object.
    void failPropertyReads(platform::AudioObjectId object, std::uint32_t selector,
                           platform::AudioStatus status);
    void clearPropertyFailures() { readFailures_.clear(); }

    std::vector<SimProcessTap> taps() const;
    std::vector<SimAggregateDevice> aggregates() const;
    std::vector<SimIOProc> ioProcs() const;
    const SimAudioCalls& calls() const { return calls_; }

    // One IO cycle of `frames` frames on the device: every started IO procedure gets the input
    // buffers (the sub-devices' silent inputs, then each tap's capture) and output buffers that
    // hold whatever it left in them last time. Returns the device's output streams' samples.
    std::vector<std::vector<float>> renderCycle(platform::AudioObjectId device,
                                                std::uint32_t frames);

  private:
    struct StreamConfiguration {
        std::uint32_t bufferCount = 0;
    };
    using PropertyValue = std::variant<std::uint32_t, std::vector<std::uint32_t>, std::string,
                                       float, StreamConfiguration>;
    struct Device {
        SimAudioDeviceSpec spec;
        bool aggregate = false;
        platform::PlistDictionary description;
        std::vector<platform::AudioObjectId> subdevices;
        std::vector<platform::AudioObjectId> taps;  // their captures are the last inputs
    };
    struct Process {
        platform::AudioObjectId id = 0;
        platform::ProcessId pid = 0;
        std::string bundleIdentifier;
        bool runningOutput = false;
        std::vector<float> samples;
    };
    struct IOProc {
        platform::AudioObjectId device = 0;
        platform::AudioIOBlock block;
        bool running = false;
        std::vector<std::vector<float>> outputMemory;
    };
    struct Fault {
        platform::AudioStatus status = platform::kAudioNoError;
        platform::AudioObjectId process = 0;
    };
    struct Refusal {
        platform::AudioStatus status = platform::kAudioNoError;
        std::string reason;
    };
    struct AggregatePlan {
        std::string name;
        std::string uid;
        std::vector<platform::AudioObjectId> subdevices;
        std::vector<platform::AudioObjectId> taps;
    };
    using ReadFailureKey = std::pair<platform::AudioObjectId, std::uint32_t>;

    [[nodiscard]] std::expected<PropertyValue, platform::AudioStatus> lookup(
        platform::AudioObjectId object, const platform::AudioPropertyAddress& address) const;
    [[nodiscard]] std::expected<PropertyValue, platform::AudioStatus> systemProperty(
        const platform::AudioPropertyAddress& address) const;
    [[nodiscard]] std::expected<PropertyValue, platform::AudioStatus> deviceProperty(
        const Device& device, const platform::AudioPropertyAddress& address) const;
    [[nodiscard]] std::expected<PropertyValue, platform::AudioStatus> processProperty(
        const Process& process, const platform::AudioPropertyAddress& address) const;
    [[nodiscard]] std::expected<PropertyValue, platform::AudioStatus> tapProperty(
        const SimProcessTap& tap, const platform::AudioPropertyAddress& address) const;
    [[nodiscard]] std::expected<PropertyValue, platform::AudioStatus> read(
        platform::AudioObjectId object, const platform::AudioPropertyAddress& address) const;
    std::optional<platform::AudioStatus> injectedReadFailure(platform::AudioObjectId object,
                                                             std::uint32_t selector) const;
    bool isSettable(platform::AudioObjectId object,
                    const platform::AudioPropertyAddress& address) const;

    std::optional<Refusal> tapRefusal(const platform::ProcessTapDescription& description) const;
    [[nodiscard]] std::expected<AggregatePlan, Refusal> planAggregate(
        const platform::PlistDictionary& description) const;
    [[nodiscard]] std::expected<std::vector<platform::AudioObjectId>, Refusal> resolveSubdevices(
        const platform::PlistDictionary& description) const;
    [[nodiscard]] std::expected<std::vector<platform::AudioObjectId>, Refusal> resolveTaps(
        const platform::PlistDictionary& description) const;
    Device assembleAggregate(const AggregatePlan& plan,
                             const platform::PlistDictionary& description) const;
    std::optional<platform::AudioStatus> faultFor(
        SimAudioFault fault, const std::vector<platform::AudioObjectId>& processes = {}) const;
    std::optional<platform::AudioStatus> ioProcRefusal(platform::AudioObjectId device,
                                                       platform::AudioIOProcId proc) const;

    const Device* findDevice(platform::AudioObjectId id) const;
    const Process* findProcess(platform::AudioObjectId id) const;
    Process& processOrThrow(platform::AudioObjectId id);
    // 0 when no device has that UID.
    platform::AudioObjectId deviceWithUid(std::string_view uid) const;
    const SimProcessTap* tapWithUid(std::string_view uid) const;
    bool tapCaptures(const SimProcessTap& tap, platform::AudioObjectId process) const;
    bool isRunning(platform::AudioObjectId device) const;
    std::optional<platform::AudioObjectId> runningAggregateWithTap(
        platform::AudioObjectId tap) const;

    void fillInputs(const Device& device, std::uint32_t frames);
    void captureTap(platform::AudioObjectId tap, std::vector<float>& memory) const;
    void runIOProc(IOProc& proc, const Device& device, std::uint32_t frames,
                   std::vector<std::vector<float>>& mix);

    void record(std::string text);
    void recordOutcome(std::string text, platform::AudioStatus result,
                       std::string_view reason = {});

    Permissions& permissions_;
    Trace& trace_;
    platform::OperatingSystemVersion version_{15, 1, 0};
    platform::AudioObjectId nextObjectId_;
    platform::AudioIOProcId nextIOProcId_ = 1;
    platform::AudioObjectId builtInSpeakers_ = 0;
    platform::AudioObjectId defaultOutput_ = 0;
    std::map<platform::AudioObjectId, Device> devices_;
    std::vector<Process> processes_;  // the system's order
    std::map<platform::AudioObjectId, SimProcessTap> taps_;
    std::map<platform::AudioIOProcId, IOProc> ioProcs_;
    std::map<SimAudioFault, Fault> faults_;
    std::map<ReadFailureKey, platform::AudioStatus> readFailures_;
    SimAudioCalls calls_;
    std::uint64_t framesPlayed_ = 0;
    // The input buffers of the cycle in progress, owned here and lent to the IO procedures.
    std::vector<std::vector<float>> inputMemory_;
    std::vector<platform::AudioBuffer> inputBuffers_;
    std::vector<platform::AudioBuffer> outputBuffers_;
};

}  // namespace parvel::sim
