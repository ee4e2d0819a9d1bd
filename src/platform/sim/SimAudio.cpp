#include "platform/sim/SimAudio.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <span>
#include <stdexcept>
#include <type_traits>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "platform/sim/Trace.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {

using platform::AudioBuffer;
using platform::AudioIOProcId;
using platform::AudioObjectId;
using platform::AudioPropertyAddress;
using platform::AudioScope;
using platform::AudioStatus;
using platform::fourCharCode;
using platform::kAudioNoError;
using platform::PlistDictionary;
using platform::PlistValue;
using platform::ProcessTapDescription;

namespace status = audio_status;

namespace {

constexpr std::uint32_t kDefaultOutputDevice = fourCharCode("dOut");
constexpr std::uint32_t kProcessObjectList = fourCharCode("prs#");
constexpr std::uint32_t kDeviceUid = fourCharCode("uid ");
constexpr std::uint32_t kProcessPid = fourCharCode("ppid");
constexpr std::uint32_t kProcessBundleId = fourCharCode("pbid");
constexpr std::uint32_t kProcessIsRunningOutput = fourCharCode("piro");
constexpr std::uint32_t kTapUid = fourCharCode("tuid");
constexpr std::uint32_t kStreamConfiguration = fourCharCode("slay");
constexpr std::uint32_t kVolumeScalar = fourCharCode("volm");

// The HAL's own plug-in and clock objects take the ids below this one.
constexpr AudioObjectId kFirstObjectId = 40;
constexpr std::uint32_t kMainElement = 0;
// CATapMuteBehavior: unmuted, muted, muted only while a client reads the tap.
constexpr int kTapUnmuted = 0;
constexpr int kTapMuted = 1;
constexpr int kTapMutedWhenTapped = 2;
constexpr platform::OperatingSystemVersion kFirstVersionWithTaps{14, 2, 0};
constexpr std::uint32_t kStereo = 2;
constexpr std::uint32_t kMono = 1;
constexpr float kSpeakerVolume = 0.75F;
// UInt32 and Float32 values; a CFStringRef; an AudioBufferList's (padded) count and each of its
// AudioBuffers, all as a 64-bit Mac lays them out.
constexpr std::uint32_t kWordBytes = 4;
constexpr std::uint32_t kReferenceBytes = 8;
constexpr std::uint32_t kBufferListHeaderBytes = 8;
constexpr std::uint32_t kBufferBytes = 16;
constexpr std::string_view kTapUidPrefix = "5A4D0000-7461-4B00-8000";
constexpr std::string_view kInjected = "injected fault";

bool isObjectWide(const AudioPropertyAddress& address) {
    return address.scope == AudioScope::Global && address.element == kMainElement;
}

// 'who?' when all four characters print, the number otherwise.
std::string describeCode(std::uint32_t code) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        const auto character = static_cast<unsigned char>((code >> shift) & 0xFFU);
        if (std::isprint(character) == 0) {
            return std::to_string(code);
        }
        text += static_cast<char>(character);
    }
    return "'" + text + "'";
}

std::string describeStatus(AudioStatus code) {
    return describeCode(static_cast<std::uint32_t>(code));
}

std::string describeTapped(const ProcessTapDescription& description) {
    return fmt::format("{} [{}]", description.isExclusive ? "all processes but" : "processes",
                       fmt::join(description.processes, ", "));
}

bool isFlag(const PlistValue& value) {
    return value.asBool() || value.asInteger();
}

std::string stringValue(const PlistDictionary& dictionary, std::string_view key) {
    const auto found = dictionary.find(key);
    return found == dictionary.end() ? "" : found->second.asString().value_or("");
}

// Whether `key` is absent or an array of dictionaries, each with a "uid" string (and, for taps,
// a "drift" flag when present).
bool isUidList(const PlistDictionary& description, std::string_view key) {
    const auto found = description.find(key);
    if (found == description.end()) {
        return true;
    }
    const platform::PlistArray* entries = found->second.asArray();
    return entries != nullptr && std::ranges::all_of(*entries, [](const PlistValue& entry) {
               const PlistDictionary* fields = entry.asDictionary();
               if (fields == nullptr || !fields->contains("uid") || !fields->at("uid").asString()) {
                   return false;
               }
               const auto drift = fields->find("drift");
               return drift == fields->end() || isFlag(drift->second);
           });
}

std::vector<std::string> uidsIn(const PlistDictionary& description, std::string_view key) {
    std::vector<std::string> uids;
    if (const auto found = description.find(key); found != description.end()) {
        for (const PlistValue& entry : *found->second.asArray()) {
            uids.push_back(*entry.asDictionary()->at("uid").asString());
        }
    }
    return uids;
}

// What is wrong with the shape of an aggregate device description, if anything.
std::optional<std::string> shapeProblem(const PlistDictionary& description) {
    for (const std::string_view key : {"name", "uid", "master"}) {
        const auto found = description.find(key);
        if (found != description.end() && !found->second.asString()) {
            return fmt::format("\"{}\" is not a string", key);
        }
    }
    for (const std::string_view key : {"private", "stacked", "tapautostart"}) {
        const auto found = description.find(key);
        if (found != description.end() && !isFlag(found->second)) {
            return fmt::format("\"{}\" is not a boolean", key);
        }
    }
    for (const std::string_view key : {"subdevices", "taps"}) {
        if (!isUidList(description, key)) {
            return fmt::format("\"{}\" is not a list of dictionaries with a \"uid\"", key);
        }
    }
    if (stringValue(description, "uid").empty()) {
        return "the description has no \"uid\"";
    }
    return std::nullopt;
}

float sampleAt(const std::vector<float>& samples, std::uint64_t frame, std::uint32_t channel) {
    return samples[static_cast<std::size_t>((frame * kStereo + channel) % samples.size())];
}

// Adds a process's looping stereo samples, from `startFrame` on, into a tap's capture buffer.
void mixInto(std::span<float> capture, const std::vector<float>& samples, std::uint64_t startFrame,
             bool mono) {
    const std::uint32_t channels = mono ? kMono : kStereo;
    const std::size_t frames = capture.size() / channels;
    for (std::size_t index = 0; index < frames; ++index) {
        const std::uint64_t frame = startFrame + index;
        const float left = sampleAt(samples, frame, 0);
        const float right = sampleAt(samples, frame, 1);
        if (mono) {
            capture[index] += 0.5F * (left + right);
        } else {
            capture[index * kStereo] += left;
            capture[index * kStereo + 1] += right;
        }
    }
}

std::uint32_t byteSizeOf(std::uint32_t frames, std::uint32_t channels) {
    return frames * channels * kWordBytes;
}

}  // namespace

SimAudio::SimAudio(Permissions& permissions, Trace& trace)
    : permissions_(permissions), trace_(trace), nextObjectId_(kFirstObjectId) {
    builtInSpeakers_ = addDevice(builtInSpeakerSpec());
    defaultOutput_ = builtInSpeakers_;
}

bool SimAudio::supportsProcessTaps() const {
    return version_ >= kFirstVersionWithTaps;
}

// --- Properties -------------------------------------------------------------------------------

bool SimAudio::hasProperty(AudioObjectId object, const AudioPropertyAddress& address) const {
    return lookup(object, address).has_value();
}

std::expected<bool, AudioStatus> SimAudio::isPropertySettable(
    AudioObjectId object, const AudioPropertyAddress& address) const {
    if (const auto found = lookup(object, address); !found) {
        return std::unexpected(found.error());
    }
    return isSettable(object, address);
}

std::expected<std::uint32_t, AudioStatus> SimAudio::propertyDataSize(
    AudioObjectId object, const AudioPropertyAddress& address) const {
    const auto value = read(object, address);
    if (!value) {
        return std::unexpected(value.error());
    }
    return std::visit(
        [](const auto& data) -> std::uint32_t {
            using Data = std::decay_t<decltype(data)>;
            if constexpr (std::is_same_v<Data, std::vector<std::uint32_t>>) {
                return static_cast<std::uint32_t>(data.size()) * kWordBytes;
            } else if constexpr (std::is_same_v<Data, std::string>) {
                return kReferenceBytes;
            } else if constexpr (std::is_same_v<Data, StreamConfiguration>) {
                return kBufferListHeaderBytes + data.bufferCount * kBufferBytes;
            } else {
                return kWordBytes;
            }
        },
        *value);
}

std::expected<std::vector<std::uint32_t>, AudioStatus> SimAudio::readUInt32Values(
    AudioObjectId object, const AudioPropertyAddress& address, std::uint32_t byteSize) const {
    const auto value = read(object, address);
    if (!value) {
        return std::unexpected(value.error());
    }
    if (const auto* scalar = std::get_if<std::uint32_t>(&*value);
        scalar && byteSize >= kWordBytes) {
        return std::vector<std::uint32_t>{*scalar};
    }
    // Like Core Audio, a list read with too small a buffer returns as many values as fit.
    if (const auto* list = std::get_if<std::vector<std::uint32_t>>(&*value)) {
        const auto count = std::min<std::size_t>(list->size(), byteSize / kWordBytes);
        return std::vector<std::uint32_t>(list->begin(),
                                          list->begin() + static_cast<std::ptrdiff_t>(count));
    }
    return std::unexpected(status::kBadPropertySize);
}

std::expected<std::string, AudioStatus> SimAudio::readString(
    AudioObjectId object, const AudioPropertyAddress& address) const {
    const auto value = read(object, address);
    if (!value) {
        return std::unexpected(value.error());
    }
    if (const auto* text = std::get_if<std::string>(&*value)) {
        return *text;
    }
    return std::unexpected(status::kBadPropertySize);
}

std::expected<float, AudioStatus> SimAudio::readFloat32(AudioObjectId object,
                                                        const AudioPropertyAddress& address) const {
    const auto value = read(object, address);
    if (!value) {
        return std::unexpected(value.error());
    }
    if (const auto* scalar = std::get_if<float>(&*value)) {
        return *scalar;
    }
    return std::unexpected(status::kBadPropertySize);
}

std::expected<std::uint32_t, AudioStatus> SimAudio::readStreamBufferCount(
    AudioObjectId object, const AudioPropertyAddress& address) const {
    const auto value = read(object, address);
    if (!value) {
        return std::unexpected(value.error());
    }
    if (const auto* configuration = std::get_if<StreamConfiguration>(&*value)) {
        return configuration->bufferCount;
    }
    return std::unexpected(status::kBadPropertySize);
}

// A volume control keeps its scalar within 0…1, as hardware controls do; the trace shows the
// value as written, so a caller that forgets to clamp can still be caught.
AudioStatus SimAudio::writeFloat32(AudioObjectId object, const AudioPropertyAddress& address,
                                   float value) {
    const auto found = lookup(object, address);
    AudioStatus result = kAudioNoError;
    std::string reason;
    if (!found) {
        result = found.error();
    } else if (!std::holds_alternative<float>(*found)) {
        result = status::kBadPropertySize;
    } else if (!isSettable(object, address)) {
        result = status::kUnsupportedOperation;
        reason = "not settable";
    } else if (std::isnan(value)) {
        result = status::kIllegalOperation;
        reason = "not a number";
    } else {
        devices_.at(object).spec.volume.at(address.element).scalar = std::clamp(value, 0.0F, 1.0F);
    }
    recordOutcome(fmt::format("set {} of {} element {} to {}", describeCode(address.selector),
                              object, address.element, value),
                  result, reason);
    return result;
}

// Object-wide properties answer only at the global scope and the main element, which is how the
// program asks for them; the real HAL is more lenient with the scope.
std::expected<SimAudio::PropertyValue, AudioStatus> SimAudio::lookup(
    AudioObjectId object, const AudioPropertyAddress& address) const {
    if (object == platform::kAudioSystemObject) {
        return systemProperty(address);
    }
    if (const Device* device = findDevice(object)) {
        return deviceProperty(*device, address);
    }
    if (const Process* process = findProcess(object)) {
        return processProperty(*process, address);
    }
    if (const auto tap = taps_.find(object); tap != taps_.end()) {
        return tapProperty(tap->second, address);
    }
    return std::unexpected(status::kBadObject);
}

std::expected<SimAudio::PropertyValue, AudioStatus> SimAudio::systemProperty(
    const AudioPropertyAddress& address) const {
    if (isObjectWide(address) && address.selector == kDefaultOutputDevice) {
        // With no output device at all, Core Audio answers kAudioObjectUnknown, not an error.
        return PropertyValue{defaultOutput_};
    }
    if (isObjectWide(address) && address.selector == kProcessObjectList) {
        std::vector<std::uint32_t> ids;
        for (const Process& process : processes_) {
            ids.push_back(process.id);
        }
        return PropertyValue{std::move(ids)};
    }
    return std::unexpected(status::kUnknownProperty);
}

std::expected<SimAudio::PropertyValue, AudioStatus> SimAudio::deviceProperty(
    const Device& device, const AudioPropertyAddress& address) const {
    if (isObjectWide(address) && address.selector == kDeviceUid) {
        return PropertyValue{device.spec.uid};
    }
    if (address.selector == kStreamConfiguration && address.element == kMainElement &&
        address.scope != AudioScope::Global) {
        const auto& streams =
            address.scope == AudioScope::Input ? device.spec.inputs : device.spec.outputs;
        return PropertyValue{StreamConfiguration{static_cast<std::uint32_t>(streams.size())}};
    }
    if (address.selector == kVolumeScalar && address.scope == AudioScope::Output) {
        if (const auto control = device.spec.volume.find(address.element);
            control != device.spec.volume.end()) {
            return PropertyValue{control->second.scalar};
        }
    }
    return std::unexpected(status::kUnknownProperty);
}

std::expected<SimAudio::PropertyValue, AudioStatus> SimAudio::processProperty(
    const Process& process, const AudioPropertyAddress& address) const {
    if (!isObjectWide(address)) {
        return std::unexpected(status::kUnknownProperty);
    }
    switch (address.selector) {
        case kProcessPid:
            return PropertyValue{static_cast<std::uint32_t>(process.pid)};
        case kProcessBundleId:
            return PropertyValue{process.bundleIdentifier};
        case kProcessIsRunningOutput:
            return PropertyValue{std::uint32_t{process.runningOutput ? 1U : 0U}};
        default:
            return std::unexpected(status::kUnknownProperty);
    }
}

std::expected<SimAudio::PropertyValue, AudioStatus> SimAudio::tapProperty(
    const SimProcessTap& tap, const AudioPropertyAddress& address) const {
    if (isObjectWide(address) && address.selector == kTapUid) {
        return PropertyValue{tap.uid};
    }
    return std::unexpected(status::kUnknownProperty);
}

std::expected<SimAudio::PropertyValue, AudioStatus> SimAudio::read(
    AudioObjectId object, const AudioPropertyAddress& address) const {
    auto value = lookup(object, address);
    if (value) {
        if (const auto failure = injectedReadFailure(object, address.selector)) {
            return std::unexpected(*failure);
        }
    }
    return value;
}

std::optional<AudioStatus> SimAudio::injectedReadFailure(AudioObjectId object,
                                                         std::uint32_t selector) const {
    for (const AudioObjectId key : {object, AudioObjectId{0}}) {
        if (const auto found = readFailures_.find({key, selector}); found != readFailures_.end()) {
            return found->second;
        }
    }
    if (const auto tap = taps_.find(object); tap != taps_.end() && selector == kTapUid) {
        return faultFor(SimAudioFault::ReadTapUid, tap->second.description.processes);
    }
    return std::nullopt;
}

bool SimAudio::isSettable(AudioObjectId object, const AudioPropertyAddress& address) const {
    if (address.selector == kDefaultOutputDevice) {
        return true;
    }
    return address.selector == kVolumeScalar &&
           findDevice(object)->spec.volume.at(address.element).settable;
}

// --- Process taps ------------------------------------------------------------------------------

std::expected<AudioObjectId, AudioStatus> SimAudio::createProcessTap(
    const ProcessTapDescription& description) {
    ++calls_.tapCreates;
    if (const auto refusal = tapRefusal(description)) {
        recordOutcome(fmt::format("create tap of {}", describeTapped(description)), refusal->status,
                      refusal->reason);
        return std::unexpected(refusal->status);
    }
    const AudioObjectId id = nextObjectId_++;
    taps_.emplace(id, SimProcessTap{id, fmt::format("{}-{:012X}", kTapUidPrefix, id), description});
    record(fmt::format("create tap {} of {}", id, describeTapped(description)));
    return id;
}

std::optional<SimAudio::Refusal> SimAudio::tapRefusal(
    const ProcessTapDescription& description) const {
    if (!supportsProcessTaps()) {
        return Refusal{status::kUnsupportedOperation, "process taps need macOS 14.2"};
    }
    if (!permissions_.systemAudioRecording) {
        return Refusal{status::kIllegalOperation, "System Audio Recording is not allowed"};
    }
    if (description.processes.empty() && !description.isExclusive) {
        return Refusal{status::kIllegalOperation, "the tap names no process"};
    }
    for (const AudioObjectId process : description.processes) {
        if (findProcess(process) == nullptr) {
            return Refusal{status::kBadObject, fmt::format("no process object {}", process)};
        }
    }
    if (description.muteBehavior < kTapUnmuted || description.muteBehavior > kTapMutedWhenTapped) {
        return Refusal{status::kIllegalOperation,
                       fmt::format("no mute behaviour {}", description.muteBehavior)};
    }
    if (const auto injected = faultFor(SimAudioFault::CreateTap, description.processes)) {
        return Refusal{*injected, std::string(kInjected)};
    }
    return std::nullopt;
}

AudioStatus SimAudio::destroyProcessTap(AudioObjectId tap) {
    ++calls_.tapDestroys;
    AudioStatus result = kAudioNoError;
    std::string reason;
    if (!taps_.contains(tap)) {
        result = status::kBadObject;
    } else if (const auto aggregate = runningAggregateWithTap(tap)) {
        result = status::kIllegalOperation;
        reason = fmt::format("aggregate device {} is running", *aggregate);
    } else {
        taps_.erase(tap);
    }
    recordOutcome(fmt::format("destroy tap {}", tap), result, reason);
    return result;
}

// --- Aggregate devices -------------------------------------------------------------------------

std::expected<AudioObjectId, AudioStatus> SimAudio::createAggregateDevice(
    const PlistDictionary& description) {
    ++calls_.aggregateCreates;
    const auto plan = planAggregate(description);
    if (!plan) {
        recordOutcome("create aggregate device", plan.error().status, plan.error().reason);
        return std::unexpected(plan.error().status);
    }
    const AudioObjectId id = nextObjectId_++;
    devices_.emplace(id, assembleAggregate(*plan, description));
    record(fmt::format("create aggregate device {} \"{}\" of devices [{}] and taps [{}]", id,
                       plan->name, fmt::join(plan->subdevices, ", "), fmt::join(plan->taps, ", ")));
    return id;
}

std::expected<SimAudio::AggregatePlan, SimAudio::Refusal> SimAudio::planAggregate(
    const PlistDictionary& description) const {
    if (const auto injected = faultFor(SimAudioFault::CreateAggregate)) {
        return std::unexpected(Refusal{*injected, std::string(kInjected)});
    }
    if (const auto problem = shapeProblem(description)) {
        return std::unexpected(Refusal{status::kIllegalOperation, *problem});
    }
    AggregatePlan plan{stringValue(description, "name"), stringValue(description, "uid"), {}, {}};
    if (deviceWithUid(plan.uid) != 0) {
        return std::unexpected(Refusal{status::kIllegalOperation,
                                       fmt::format("a device with UID {} exists", plan.uid)});
    }
    const std::string master = stringValue(description, "master");
    if (!master.empty() && deviceWithUid(master) == 0) {
        return std::unexpected(
            Refusal{status::kBadDevice, fmt::format("no main device with UID {}", master)});
    }
    auto subdevices = resolveSubdevices(description);
    if (!subdevices) {
        return std::unexpected(subdevices.error());
    }
    auto taps = resolveTaps(description);
    if (!taps) {
        return std::unexpected(taps.error());
    }
    plan.subdevices = std::move(*subdevices);
    plan.taps = std::move(*taps);
    return plan;
}

std::expected<std::vector<AudioObjectId>, SimAudio::Refusal> SimAudio::resolveSubdevices(
    const PlistDictionary& description) const {
    std::vector<AudioObjectId> ids;
    for (const std::string& uid : uidsIn(description, "subdevices")) {
        const AudioObjectId id = deviceWithUid(uid);
        if (id == 0) {
            return std::unexpected(
                Refusal{status::kBadDevice, fmt::format("no sub-device with UID {}", uid)});
        }
        ids.push_back(id);
    }
    return ids;
}

std::expected<std::vector<AudioObjectId>, SimAudio::Refusal> SimAudio::resolveTaps(
    const PlistDictionary& description) const {
    std::vector<AudioObjectId> ids;
    for (const std::string& uid : uidsIn(description, "taps")) {
        const SimProcessTap* tap = tapWithUid(uid);
        if (tap == nullptr) {
            return std::unexpected(
                Refusal{status::kBadObject, fmt::format("no tap with UID {}", uid)});
        }
        ids.push_back(tap->id);
    }
    return ids;
}

// The sub-devices' streams in order, then one input stream per tap.
SimAudio::Device SimAudio::assembleAggregate(const AggregatePlan& plan,
                                             const PlistDictionary& description) const {
    Device aggregate{{plan.uid, {}, {}, {}}, true, description, plan.subdevices, plan.taps};
    for (const AudioObjectId id : plan.subdevices) {
        const SimAudioDeviceSpec& subdevice = devices_.at(id).spec;
        aggregate.spec.inputs.insert(aggregate.spec.inputs.end(), subdevice.inputs.begin(),
                                     subdevice.inputs.end());
        aggregate.spec.outputs.insert(aggregate.spec.outputs.end(), subdevice.outputs.begin(),
                                      subdevice.outputs.end());
    }
    for (const AudioObjectId id : plan.taps) {
        aggregate.spec.inputs.push_back({taps_.at(id).description.isMono ? kMono : kStereo, true});
    }
    return aggregate;
}

AudioStatus SimAudio::destroyAggregateDevice(AudioObjectId device) {
    ++calls_.aggregateDestroys;
    const Device* aggregate = findDevice(device);
    AudioStatus result = kAudioNoError;
    std::string reason;
    if (aggregate == nullptr || !aggregate->aggregate) {
        result = status::kBadObject;
    } else if (isRunning(device)) {
        result = status::kIllegalOperation;
        reason = "an IO procedure is running";
    } else {
        std::erase_if(ioProcs_,
                      [device](const auto& entry) { return entry.second.device == device; });
        devices_.erase(device);
        if (defaultOutput_ == device) {
            defaultOutput_ = 0;
        }
    }
    recordOutcome(fmt::format("destroy aggregate device {}", device), result, reason);
    return result;
}

// --- IO procedures -----------------------------------------------------------------------------

std::expected<AudioIOProcId, AudioStatus> SimAudio::createIOProc(AudioObjectId device,
                                                                 platform::AudioIOBlock block) {
    ++calls_.ioProcCreates;
    AudioStatus result = kAudioNoError;
    if (findDevice(device) == nullptr) {
        result = status::kBadObject;
    } else if (!block) {
        result = status::kIllegalOperation;
    } else {
        result = faultFor(SimAudioFault::CreateIOProc).value_or(kAudioNoError);
    }
    if (result != kAudioNoError) {
        recordOutcome(fmt::format("create io proc on device {}", device), result);
        return std::unexpected(result);
    }
    const AudioIOProcId id = nextIOProcId_++;
    ioProcs_.emplace(id, IOProc{device, std::move(block), false, {}});
    record(fmt::format("create io proc {} on device {}", id, device));
    return id;
}

// Starting a running procedure, or stopping a stopped one, changes nothing and succeeds.
AudioStatus SimAudio::startDevice(AudioObjectId device, AudioIOProcId proc) {
    ++calls_.starts;
    AudioStatus result = ioProcRefusal(device, proc).value_or(kAudioNoError);
    if (result == kAudioNoError) {
        result = faultFor(SimAudioFault::StartDevice).value_or(kAudioNoError);
    }
    if (result == kAudioNoError) {
        ioProcs_.at(proc).running = true;
    }
    recordOutcome(fmt::format("start device {} io proc {}", device, proc), result);
    return result;
}

AudioStatus SimAudio::stopDevice(AudioObjectId device, AudioIOProcId proc) {
    ++calls_.stops;
    const AudioStatus result = ioProcRefusal(device, proc).value_or(kAudioNoError);
    if (result == kAudioNoError) {
        ioProcs_.at(proc).running = false;
    }
    recordOutcome(fmt::format("stop device {} io proc {}", device, proc), result);
    return result;
}

// Core Audio does not make destroying a running procedure safe, so the model refuses it.
AudioStatus SimAudio::destroyIOProc(AudioObjectId device, AudioIOProcId proc) {
    ++calls_.ioProcDestroys;
    AudioStatus result = ioProcRefusal(device, proc).value_or(kAudioNoError);
    std::string reason;
    if (result == kAudioNoError && ioProcs_.at(proc).running) {
        result = status::kIllegalOperation;
        reason = "it is running";
    } else if (result == kAudioNoError) {
        ioProcs_.erase(proc);
    }
    recordOutcome(fmt::format("destroy io proc {} on device {}", proc, device), result, reason);
    return result;
}

std::optional<AudioStatus> SimAudio::ioProcRefusal(AudioObjectId device, AudioIOProcId proc) const {
    if (findDevice(device) == nullptr) {
        return status::kBadObject;
    }
    const auto found = ioProcs_.find(proc);
    if (found == ioProcs_.end() || found->second.device != device) {
        return status::kIllegalOperation;
    }
    return std::nullopt;
}

// --- Render cycles -----------------------------------------------------------------------------

std::vector<std::vector<float>> SimAudio::renderCycle(AudioObjectId device, std::uint32_t frames) {
    const Device* target = findDevice(device);
    if (target == nullptr) {
        throw std::logic_error(fmt::format("no audio device {} to render", device));
    }
    std::vector<std::vector<float>> mix;
    for (const SimAudioStream& stream : target->spec.outputs) {
        mix.emplace_back(std::size_t{frames} * stream.channels, 0.0F);
    }
    fillInputs(*target, frames);
    for (auto& [id, proc] : ioProcs_) {
        if (proc.device == device && proc.running) {
            runIOProc(proc, *target, frames, mix);
        }
    }
    framesPlayed_ += frames;
    return mix;
}

void SimAudio::fillInputs(const Device& device, std::uint32_t frames) {
    const std::vector<SimAudioStream>& streams = device.spec.inputs;
    const std::size_t firstTap = streams.size() - device.taps.size();
    inputMemory_.resize(streams.size());
    inputBuffers_.clear();
    for (std::size_t index = 0; index < streams.size(); ++index) {
        std::vector<float>& memory = inputMemory_[index];
        memory.assign(std::size_t{frames} * streams[index].channels, 0.0F);
        if (index >= firstTap) {
            captureTap(device.taps[index - firstTap], memory);
        }
        inputBuffers_.push_back({streams[index].channels,
                                 byteSizeOf(frames, streams[index].channels),
                                 streams[index].enabled ? memory.data() : nullptr});
    }
}

// A destroyed tap leaves its stream in place, silent.
void SimAudio::captureTap(AudioObjectId tap, std::vector<float>& memory) const {
    const auto found = taps_.find(tap);
    if (found == taps_.end()) {
        return;
    }
    for (const Process& process : processes_) {
        if (!process.samples.empty() && tapCaptures(found->second, process.id)) {
            mixInto(memory, process.samples, framesPlayed_, found->second.description.isMono);
        }
    }
}

// Output memory belongs to the procedure and is handed back holding what it left there: Core
// Audio promises no silence, so a procedure must write every sample it owns.
void SimAudio::runIOProc(IOProc& proc, const Device& device, std::uint32_t frames,
                         std::vector<std::vector<float>>& mix) {
    const std::vector<SimAudioStream>& streams = device.spec.outputs;
    proc.outputMemory.resize(streams.size());
    outputBuffers_.clear();
    for (std::size_t index = 0; index < streams.size(); ++index) {
        std::vector<float>& memory = proc.outputMemory[index];
        memory.resize(std::size_t{frames} * streams[index].channels);
        outputBuffers_.push_back({streams[index].channels,
                                  byteSizeOf(frames, streams[index].channels),
                                  streams[index].enabled ? memory.data() : nullptr});
    }
    proc.block(inputBuffers_, outputBuffers_);
    for (std::size_t index = 0; index < streams.size(); ++index) {
        if (streams[index].enabled) {
            std::ranges::transform(mix[index], proc.outputMemory[index], mix[index].begin(),
                                   std::plus<>());
        }
    }
}

// --- The world, for tests ----------------------------------------------------------------------

SimAudioDeviceSpec SimAudio::builtInSpeakerSpec() {
    return {std::string(kBuiltInSpeakerUid),
            {},
            {SimAudioStream{kStereo, true}},
            {{1, {kSpeakerVolume, true}}, {2, {kSpeakerVolume, true}}}};
}

AudioObjectId SimAudio::addDevice(SimAudioDeviceSpec spec) {
    if (spec.uid.empty() || deviceWithUid(spec.uid) != 0) {
        throw std::logic_error(
            fmt::format("an audio device needs a UID of its own, not \"{}\"", spec.uid));
    }
    const auto silent = [](const SimAudioStream& stream) { return stream.channels == 0; };
    if (std::ranges::any_of(spec.inputs, silent) || std::ranges::any_of(spec.outputs, silent)) {
        throw std::logic_error(fmt::format("every stream of {} needs a channel", spec.uid));
    }
    const AudioObjectId id = nextObjectId_++;
    devices_.emplace(id, Device{std::move(spec), false, {}, {}, {}});
    return id;
}

void SimAudio::setDefaultOutputDevice(AudioObjectId device) {
    if (device != 0 && findDevice(device) == nullptr) {
        throw std::logic_error(fmt::format("no audio device {} to make the default", device));
    }
    defaultOutput_ = device;
    record(fmt::format("default output device {}", device));
}

float SimAudio::volume(AudioObjectId device, std::uint32_t element) const {
    const Device* found = findDevice(device);
    if (found == nullptr || !found->spec.volume.contains(element)) {
        throw std::logic_error(
            fmt::format("audio device {} has no volume control on element {}", device, element));
    }
    return found->spec.volume.at(element).scalar;
}

AudioObjectId SimAudio::addProcess(platform::ProcessId pid, std::string bundleIdentifier,
                                   bool runningOutput) {
    const AudioObjectId id = nextObjectId_++;
    processes_.push_back({id, pid, std::move(bundleIdentifier), runningOutput, {}});
    return id;
}

void SimAudio::removeProcess(AudioObjectId process) {
    processOrThrow(process);
    std::erase_if(processes_, [process](const Process& entry) { return entry.id == process; });
}

void SimAudio::setRunningOutput(AudioObjectId process, bool running) {
    processOrThrow(process).runningOutput = running;
}

void SimAudio::setProcessSamples(AudioObjectId process, std::vector<float> samples) {
    if (samples.size() % kStereo != 0) {
        throw std::logic_error("interleaved stereo samples come in pairs");
    }
    processOrThrow(process).samples = std::move(samples);
}

bool SimAudio::isProcessMuted(AudioObjectId process) const {
    if (findProcess(process) == nullptr) {
        throw std::logic_error(fmt::format("no audio process object {}", process));
    }
    return std::ranges::any_of(taps_, [&](const auto& entry) {
        const SimProcessTap& tap = entry.second;
        const int behaviour = tap.description.muteBehavior;
        return tapCaptures(tap, process) &&
               (behaviour == kTapMuted ||
                (behaviour == kTapMutedWhenTapped && runningAggregateWithTap(tap.id).has_value()));
    });
}

void SimAudio::injectFault(SimAudioFault fault, AudioStatus failure, AudioObjectId process) {
    if (failure == kAudioNoError) {
        throw std::logic_error("an injected fault needs a non-zero status");
    }
    const bool aboutTaps = fault == SimAudioFault::CreateTap || fault == SimAudioFault::ReadTapUid;
    if (process != 0 && !aboutTaps) {
        throw std::logic_error("only tap faults can be limited to one process");
    }
    faults_[fault] = Fault{failure, process};
}

void SimAudio::failPropertyReads(AudioObjectId object, std::uint32_t selector,
                                 AudioStatus failure) {
    if (failure == kAudioNoError) {
        throw std::logic_error("a failing read needs a non-zero status");
    }
    readFailures_[{object, selector}] = failure;
}

std::vector<SimProcessTap> SimAudio::taps() const {
    std::vector<SimProcessTap> live;
    for (const auto& [id, tap] : taps_) {
        live.push_back(tap);
    }
    return live;
}

std::vector<SimAggregateDevice> SimAudio::aggregates() const {
    std::vector<SimAggregateDevice> live;
    for (const auto& [id, device] : devices_) {
        if (device.aggregate) {
            live.push_back({id, device.description, device.subdevices, device.taps});
        }
    }
    return live;
}

std::vector<SimIOProc> SimAudio::ioProcs() const {
    std::vector<SimIOProc> live;
    for (const auto& [id, proc] : ioProcs_) {
        live.push_back({id, proc.device, proc.running});
    }
    return live;
}

// --- Lookups -----------------------------------------------------------------------------------

std::optional<AudioStatus> SimAudio::faultFor(SimAudioFault fault,
                                              const std::vector<AudioObjectId>& processes) const {
    const auto found = faults_.find(fault);
    if (found == faults_.end()) {
        return std::nullopt;
    }
    const AudioObjectId only = found->second.process;
    if (only != 0 && std::ranges::find(processes, only) == processes.end()) {
        return std::nullopt;
    }
    return found->second.status;
}

const SimAudio::Device* SimAudio::findDevice(AudioObjectId id) const {
    const auto found = devices_.find(id);
    return found == devices_.end() ? nullptr : &found->second;
}

const SimAudio::Process* SimAudio::findProcess(AudioObjectId id) const {
    const auto found =
        std::ranges::find_if(processes_, [id](const Process& process) { return process.id == id; });
    return found == processes_.end() ? nullptr : &*found;
}

SimAudio::Process& SimAudio::processOrThrow(AudioObjectId id) {
    const auto found =
        std::ranges::find_if(processes_, [id](const Process& process) { return process.id == id; });
    if (found == processes_.end()) {
        throw std::logic_error(fmt::format("no audio process object {}", id));
    }
    return *found;
}

AudioObjectId SimAudio::deviceWithUid(std::string_view uid) const {
    const auto found = std::ranges::find_if(
        devices_, [uid](const auto& entry) { return entry.second.spec.uid == uid; });
    return found == devices_.end() ? 0 : found->first;
}

const SimProcessTap* SimAudio::tapWithUid(std::string_view uid) const {
    const auto found =
        std::ranges::find_if(taps_, [uid](const auto& entry) { return entry.second.uid == uid; });
    return found == taps_.end() ? nullptr : &found->second;
}

// An exclusive tap captures every process except the ones it lists.
bool SimAudio::tapCaptures(const SimProcessTap& tap, AudioObjectId process) const {
    const auto& listed = tap.description.processes;
    const bool named = std::ranges::find(listed, process) != listed.end();
    return tap.description.isExclusive != named;
}

bool SimAudio::isRunning(AudioObjectId device) const {
    return std::ranges::any_of(ioProcs_, [device](const auto& entry) {
        return entry.second.device == device && entry.second.running;
    });
}

std::optional<AudioObjectId> SimAudio::runningAggregateWithTap(AudioObjectId tap) const {
    for (const auto& [id, device] : devices_) {
        if (std::ranges::find(device.taps, tap) != device.taps.end() && isRunning(id)) {
            return id;
        }
    }
    return std::nullopt;
}

void SimAudio::record(std::string text) {
    trace_.record("audio", std::move(text));
}

void SimAudio::recordOutcome(std::string text, AudioStatus result, std::string_view reason) {
    if (result == kAudioNoError) {
        record(std::move(text));
    } else if (reason.empty()) {
        record(fmt::format("{} -> {}", text, describeStatus(result)));
    } else {
        record(fmt::format("{} -> {} ({})", text, describeStatus(result), reason));
    }
}

}  // namespace parvel::sim
