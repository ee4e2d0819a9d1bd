#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/sim/SimAudio.h"
#include "platform/sim/Trace.h"
#include "platform/sim/VirtualDispatch.h"
#include "platform/sim/world/Permissions.h"

namespace parvel::sim {
namespace {

using platform::AudioBuffer;
using platform::AudioObjectId;
using platform::AudioPropertyAddress;
using platform::AudioScope;
using platform::AudioStatus;
using platform::fourCharCode;
using platform::kAudioNoError;
using platform::kAudioSystemObject;
using platform::PlistArray;
using platform::PlistDictionary;
using platform::ProcessTapDescription;
using testing::FloatNear;
using testing::Pointwise;
namespace status = audio_status;

template <typename T>
AudioStatus statusOf(const std::expected<T, AudioStatus>& result) {
    return result ? kAudioNoError : result.error();
}

auto samplesNear(const std::vector<float>& expected) {
    return Pointwise(FloatNear(1e-6F), expected);
}

AudioPropertyAddress global(const char (&selector)[5]) {
    return {fourCharCode(selector), AudioScope::Global, 0};
}
AudioPropertyAddress scoped(const char (&selector)[5], AudioScope scope, std::uint32_t element) {
    return {fourCharCode(selector), scope, element};
}

ProcessTapDescription tapOf(std::vector<AudioObjectId> processes) {
    ProcessTapDescription description;
    description.processes = std::move(processes);
    description.muteBehavior = 2;
    return description;
}

// An input buffer as an IO procedure received it.
struct SeenInput {
    std::uint32_t channels = 0;
    std::uint32_t byteSize = 0;
    std::vector<float> samples;
};

// Sums every input buffer from `first` on into output buffer 0, noting the inputs it was given.
platform::AudioIOBlock summingBlock(std::size_t first, std::vector<SeenInput>* seen = nullptr) {
    return [first, seen](std::span<const AudioBuffer> input, std::span<AudioBuffer> output) {
        if (seen != nullptr) {
            seen->clear();
            for (const AudioBuffer& buffer : input) {
                seen->push_back({buffer.channels,
                                 buffer.byteSize,
                                 {buffer.data, buffer.data + buffer.byteSize / 4}});
            }
        }
        std::fill_n(output[0].data, output[0].byteSize / 4, 0.0F);
        for (std::size_t k = first; k < input.size(); ++k) {
            for (std::uint32_t j = 0; j < input[k].byteSize / 4; ++j) {
                output[0].data[j] += input[k].data[j];
            }
        }
    };
}

class SimAudioTest : public testing::Test {
  protected:
    VirtualDispatch dispatch;
    Trace trace{dispatch};
    Permissions permissions;
    SimAudio audio{permissions, trace};
    AudioObjectId player = audio.addProcess(501, "com.example.player");
    AudioObjectId browser = audio.addProcess(502, "com.example.browser");

    std::string tapUid(AudioObjectId tap) { return audio.readString(tap, global("tuid")).value(); }
    PlistDictionary aggregateOn(const std::string& device, const std::vector<AudioObjectId>& taps) {
        PlistArray tapList;
        for (const AudioObjectId tap : taps) {
            tapList.emplace_back(PlistDictionary{{"uid", tapUid(tap)}, {"drift", true}});
        }
        return {{"name", "Mixer"},  {"uid", "test.aggregate"},
                {"master", device}, {"private", true},
                {"stacked", false}, {"tapautostart", true},
                {"taps", tapList},  {"subdevices", PlistArray{PlistDictionary{{"uid", device}}}}};
    }
    AudioObjectId runningAggregate(const std::vector<AudioObjectId>& taps,
                                   std::vector<SeenInput>* seen = nullptr) {
        const AudioObjectId aggregate =
            audio.createAggregateDevice(aggregateOn("BuiltInSpeakerDevice", taps)).value();
        const auto proc = audio.createIOProc(aggregate, summingBlock(0, seen)).value();
        EXPECT_EQ(audio.startDevice(aggregate, proc), kAudioNoError);
        return aggregate;
    }
};

TEST_F(SimAudioTest, PropertiesAnswerOnlyOnTheObjectsThatHaveThem) {
    const AudioObjectId tap = audio.createProcessTap(tapOf({player})).value();
    const AudioObjectId speakers = audio.builtInSpeakers();
    struct Row {
        AudioObjectId object;
        AudioPropertyAddress address;
        AudioStatus expected;
        std::uint32_t byteSize;
    };
    const Row rows[] = {
        {kAudioSystemObject, global("dOut"), kAudioNoError, 4},
        {kAudioSystemObject, global("prs#"), kAudioNoError, 8},
        {kAudioSystemObject, scoped("dOut", AudioScope::Output, 0), status::kUnknownProperty, 0},
        {kAudioSystemObject, global("uid "), status::kUnknownProperty, 0},
        {speakers, global("uid "), kAudioNoError, 8},
        {speakers, scoped("slay", AudioScope::Output, 0), kAudioNoError, 8 + 16},
        {speakers, global("ppid"), status::kUnknownProperty, 0},
        {player, global("ppid"), kAudioNoError, 4},
        {player, global("pbid"), kAudioNoError, 8},
        {player, global("piro"), kAudioNoError, 4},
        {player, global("tuid"), status::kUnknownProperty, 0},
        {tap, global("tuid"), kAudioNoError, 8},
        {tap, global("uid "), status::kUnknownProperty, 0},
        {999, global("uid "), status::kBadObject, 0},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.object << " " << row.address.selector);
        EXPECT_EQ(audio.hasProperty(row.object, row.address), row.expected == kAudioNoError);
        const auto size = audio.propertyDataSize(row.object, row.address);
        EXPECT_EQ(statusOf(size), row.expected);
        EXPECT_EQ(size.value_or(0), row.byteSize);
    }

    EXPECT_EQ(audio.readUInt32Values(kAudioSystemObject, global("prs#"), 4).value(),
              std::vector<std::uint32_t>{player})
        << "a short buffer gets the values that fit";
    EXPECT_EQ(audio.readUInt32Values(player, global("ppid"), 4).value()[0], 501u);
    EXPECT_EQ(audio.readString(browser, global("pbid")).value(), "com.example.browser");
    EXPECT_EQ(audio.readString(player, global("ppid")).error(), status::kBadPropertySize);
    EXPECT_EQ(audio.readUInt32Values(kAudioSystemObject, global("dOut"), 2).error(),
              status::kBadPropertySize);
}

TEST_F(SimAudioTest, TheDefaultOutputDeviceChangesAndCanBeNone) {
    const AudioObjectId headphones = audio.addDevice({"Headphones", {}, {{}}, {}});
    audio.setDefaultOutputDevice(headphones);
    EXPECT_EQ(audio.readUInt32Values(kAudioSystemObject, global("dOut"), 4).value()[0], headphones);
    audio.setDefaultOutputDevice(0);
    EXPECT_EQ(audio.readUInt32Values(kAudioSystemObject, global("dOut"), 4).value()[0], 0u);
    EXPECT_THROW(audio.setDefaultOutputDevice(999), std::logic_error);
}

TEST_F(SimAudioTest, VolumeElementsHaveTheirOwnControls) {
    const AudioObjectId speakers = audio.builtInSpeakers();
    const AudioObjectId usb = audio.addDevice({"USB", {}, {{}}, {{0, {0.5F, true}}}});
    const AudioObjectId fixed = audio.addDevice({"HDMI", {}, {{}}, {{0, {0.9F, false}}}});
    struct Row {
        AudioObjectId device;
        std::uint32_t element;
        bool has;
        bool settable;
        float write;
        AudioStatus writeStatus;
        float after;
    };
    const Row rows[] = {
        {speakers, 0, false, false, 0.5F, status::kUnknownProperty, 0},
        {speakers, 1, true, true, 0.25F, kAudioNoError, 0.25F},
        {speakers, 2, true, true, 1.4F, kAudioNoError, 1.0F},
        {usb, 0, true, true, -0.2F, kAudioNoError, 0.0F},
        {usb, 0, true, true, std::nanf(""), status::kIllegalOperation, 0.0F},
        {fixed, 0, true, false, 0.1F, status::kUnsupportedOperation, 0.9F},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << row.device << " element " << row.element);
        const auto address = scoped("volm", AudioScope::Output, row.element);
        EXPECT_EQ(audio.hasProperty(row.device, address), row.has);
        EXPECT_EQ(audio.isPropertySettable(row.device, address).value_or(false), row.settable);
        EXPECT_EQ(audio.writeFloat32(row.device, address, row.write), row.writeStatus);
        if (row.has) {
            EXPECT_EQ(audio.readFloat32(row.device, address).value(), row.after);
        }
    }
    EXPECT_FALSE(audio.hasProperty(speakers, scoped("volm", AudioScope::Input, 1)));
    EXPECT_EQ(trace.texts("audio")[2], "set 'volm' of 40 element 2 to 1.4")
        << "the trace keeps the value as written";
}

TEST_F(SimAudioTest, TapsNeedTheSystemPermissionAndRealProcesses) {
    struct Row {
        const char* name;
        ProcessTapDescription description;
        bool permitted;
        platform::OperatingSystemVersion version;
        AudioStatus expected;
    };
    ProcessTapDescription badMute = tapOf({player});
    badMute.muteBehavior = 3;
    const Row rows[] = {
        {"one process", tapOf({player}), true, {14, 2, 0}, kAudioNoError},
        {"no permission", tapOf({player}), false, {15, 1, 0}, status::kIllegalOperation},
        {"before 14.2", tapOf({player}), true, {14, 1, 0}, status::kUnsupportedOperation},
        {"no process", tapOf({}), true, {15, 1, 0}, status::kIllegalOperation},
        {"unknown process", tapOf({player, 999}), true, {15, 1, 0}, status::kBadObject},
        {"mute behaviour 3", badMute, true, {15, 1, 0}, status::kIllegalOperation},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        permissions.systemAudioRecording = row.permitted;
        audio.setOperatingSystemVersion(row.version);
        const auto created = audio.createProcessTap(row.description);
        EXPECT_EQ(statusOf(created), row.expected);
        EXPECT_EQ(audio.supportsProcessTaps(), row.expected != status::kUnsupportedOperation);
    }
    ASSERT_EQ(audio.taps().size(), 1u);
    EXPECT_EQ(audio.calls().tapCreates, 6);
    EXPECT_EQ(trace.texts("audio")[1],
              "create tap of processes [41] -> 'nope' (System Audio Recording is not allowed)");
}

TEST_F(SimAudioTest, InjectedFaultsHitOnlyTheirTarget) {
    audio.injectFault(SimAudioFault::CreateTap, status::kIllegalOperation, player);
    audio.injectFault(SimAudioFault::ReadTapUid, status::kUnknownProperty, browser);
    EXPECT_FALSE(audio.createProcessTap(tapOf({player})));
    const AudioObjectId browserTap = audio.createProcessTap(tapOf({browser})).value();
    EXPECT_TRUE(audio.hasProperty(browserTap, global("tuid")));
    EXPECT_EQ(audio.readString(browserTap, global("tuid")).error(), status::kUnknownProperty);

    audio.clearFault(SimAudioFault::CreateTap);
    const AudioObjectId playerTap = audio.createProcessTap(tapOf({player})).value();
    EXPECT_TRUE(audio.readString(playerTap, global("tuid")));

    audio.failPropertyReads(0, fourCharCode("slay"), status::kBadObject);
    const AudioObjectId aggregate = runningAggregate({playerTap});
    EXPECT_EQ(audio.readStreamBufferCount(aggregate, scoped("slay", AudioScope::Input, 0)).error(),
              status::kBadObject);
    audio.clearPropertyFailures();
    EXPECT_EQ(audio.readStreamBufferCount(aggregate, scoped("slay", AudioScope::Input, 0)), 1u);
}

TEST_F(SimAudioTest, AggregateDescriptionsAreChecked) {
    const AudioObjectId tap = audio.createProcessTap(tapOf({player})).value();
    const PlistDictionary valid = aggregateOn("BuiltInSpeakerDevice", {tap});
    struct Row {
        const char* key;
        platform::PlistValue value;
        AudioStatus expected;
    };
    const Row rows[] = {
        {"subdevices", PlistArray{PlistDictionary{{"uid", "Gone"}}}, status::kBadDevice},
        {"master", "Gone", status::kBadDevice},
        {"taps", PlistArray{PlistDictionary{{"uid", "no-such-tap"}}}, status::kBadObject},
        {"taps", "not a list", status::kIllegalOperation},
        {"taps", PlistArray{PlistDictionary{{"drift", true}}}, status::kIllegalOperation},
        {"private", "yes", status::kIllegalOperation},
        {"uid", "", status::kIllegalOperation},
        {"uid", "BuiltInSpeakerDevice", status::kIllegalOperation},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        PlistDictionary description = valid;
        description.insert_or_assign(row.key, row.value);
        EXPECT_EQ(statusOf(audio.createAggregateDevice(description)), row.expected);
    }
    EXPECT_TRUE(audio.aggregates().empty());
    const AudioObjectId aggregate = audio.createAggregateDevice(valid).value();
    ASSERT_EQ(audio.aggregates().size(), 1u);
    EXPECT_EQ(audio.aggregates()[0].description, valid);
    EXPECT_EQ(audio.readString(aggregate, global("uid ")).value(), "test.aggregate");
    EXPECT_FALSE(audio.hasProperty(aggregate, scoped("volm", AudioScope::Output, 1)));
}

TEST_F(SimAudioTest, AggregateInputsAreTheSubdeviceInputsThenOneBufferPerTap) {
    audio.addDevice({"Interface", {{1, true}, {2, true}}, {{2, true}, {2, true}}, {}});
    ProcessTapDescription mono = tapOf({browser});
    mono.isMono = true;
    const AudioObjectId taps[] = {audio.createProcessTap(tapOf({player})).value(),
                                  audio.createProcessTap(mono).value()};
    PlistDictionary description = aggregateOn("Interface", {taps[0], taps[1]});
    const AudioObjectId aggregate = audio.createAggregateDevice(description).value();
    EXPECT_EQ(audio.readStreamBufferCount(aggregate, scoped("slay", AudioScope::Input, 0)), 4u);
    EXPECT_EQ(audio.readStreamBufferCount(aggregate, scoped("slay", AudioScope::Output, 0)), 2u);
    EXPECT_EQ(audio.propertyDataSize(aggregate, scoped("slay", AudioScope::Input, 0)), 8u + 4 * 16);

    audio.setProcessSamples(player, {0.5F, -0.5F});
    audio.setProcessSamples(browser, {0.2F, 0.4F});
    std::vector<SeenInput> seen;
    const auto proc = audio.createIOProc(aggregate, summingBlock(2, &seen)).value();
    audio.startDevice(aggregate, proc);
    audio.renderCycle(aggregate, 2);
    ASSERT_EQ(seen.size(), 4u);
    const std::uint32_t channels[] = {1, 2, 2, 1};
    const std::vector<float> samples[] = {
        {0, 0}, {0, 0, 0, 0}, {0.5F, -0.5F, 0.5F, -0.5F}, {0.3F, 0.3F}};
    for (std::size_t k = 0; k < seen.size(); ++k) {
        SCOPED_TRACE(k);
        EXPECT_EQ(seen[k].channels, channels[k]);
        EXPECT_EQ(seen[k].byteSize, 2 * channels[k] * 4);
        EXPECT_THAT(seen[k].samples, samplesNear(samples[k])) << "a mono tap averages the pair";
    }
}

TEST_F(SimAudioTest, RenderCyclesDeliverEachTapsSamplesOnceStarted) {
    audio.setProcessSamples(player, {0.5F, -0.5F});
    audio.setProcessSamples(browser, {0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F});
    const AudioObjectId taps[] = {audio.createProcessTap(tapOf({player})).value(),
                                  audio.createProcessTap(tapOf({browser})).value()};
    const AudioObjectId aggregate =
        audio.createAggregateDevice(aggregateOn("BuiltInSpeakerDevice", {taps[0], taps[1]}))
            .value();
    std::vector<SeenInput> seen;
    const auto proc = audio.createIOProc(aggregate, summingBlock(0, &seen)).value();
    EXPECT_EQ(audio.renderCycle(aggregate, 2), (std::vector<std::vector<float>>{{0, 0, 0, 0}}));
    EXPECT_TRUE(seen.empty()) << "a registered procedure runs only once started";
    EXPECT_FALSE(audio.isProcessMuted(player)) << "muted only while tapped";

    audio.startDevice(aggregate, proc);
    EXPECT_TRUE(audio.isProcessMuted(player));
    const auto first = audio.renderCycle(aggregate, 2);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_THAT(seen[0].samples, samplesNear({0.5F, -0.5F, 0.5F, -0.5F}));
    EXPECT_THAT(seen[1].samples, samplesNear({0.5F, 0.6F, 0.1F, 0.2F}))
        << "processes play on in real time, looping, whether anyone listens or not";
    EXPECT_THAT(first[0], samplesNear({1.0F, 0.1F, 0.6F, -0.3F}));
    EXPECT_THAT(audio.renderCycle(aggregate, 2)[0], samplesNear({0.8F, -0.1F, 1.0F, 0.1F}));
}

TEST_F(SimAudioTest, OutputMemoryKeepsWhatTheProcedureLeftAndDisabledStreamsGetNone) {
    const AudioObjectId device = audio.addDevice({"Dual", {}, {{2, true}, {2, false}}, {}});
    std::vector<void*> outputs;
    const auto proc = audio.createIOProc(device, [&outputs](auto, std::span<AudioBuffer> output) {
        outputs = {output[0].data, output[1].data};
        output[0].data[0] += 1.0F;
    });
    audio.startDevice(device, proc.value());
    audio.renderCycle(device, 4);
    const auto second = audio.renderCycle(device, 4);
    EXPECT_EQ(second[0][0], 2.0F) << "nothing clears a procedure's output between cycles";
    EXPECT_EQ(outputs[1], nullptr);
    EXPECT_EQ(second[1], std::vector<float>(8, 0.0F));
}

TEST_F(SimAudioTest, NothingARunningCycleReadsCanBeDestroyed) {
    const AudioObjectId tap = audio.createProcessTap(tapOf({player})).value();
    const AudioObjectId aggregate = runningAggregate({tap});
    const auto proc = audio.ioProcs().at(0).id;
    EXPECT_EQ(audio.destroyIOProc(aggregate, proc), status::kIllegalOperation);
    EXPECT_EQ(audio.destroyAggregateDevice(aggregate), status::kIllegalOperation);
    EXPECT_EQ(audio.destroyProcessTap(tap), status::kIllegalOperation);
    EXPECT_EQ(audio.startDevice(aggregate, proc + 1), status::kIllegalOperation);
    EXPECT_EQ(audio.stopDevice(audio.builtInSpeakers(), proc), status::kIllegalOperation);
    EXPECT_EQ(audio.destroyAggregateDevice(audio.builtInSpeakers()), status::kBadObject);

    EXPECT_EQ(audio.stopDevice(aggregate, proc), kAudioNoError);
    EXPECT_EQ(audio.destroyIOProc(aggregate, proc), kAudioNoError);
    EXPECT_EQ(audio.destroyAggregateDevice(aggregate), kAudioNoError);
    EXPECT_EQ(audio.destroyProcessTap(tap), kAudioNoError);
    EXPECT_EQ(audio.destroyProcessTap(tap), status::kBadObject);
    EXPECT_TRUE(audio.taps().empty() && audio.aggregates().empty() && audio.ioProcs().empty());
    EXPECT_EQ(audio.calls().tapDestroys, 3);
    const auto lines = trace.texts("audio");
    const std::vector<std::string> teardown(lines.end() - 5, lines.end());
    EXPECT_EQ(teardown,
              (std::vector<std::string>{
                  "stop device 44 io proc 1", "destroy io proc 1 on device 44",
                  "destroy aggregate device 44", "destroy tap 43", "destroy tap 43 -> '!obj'"}));
}

}  // namespace
}  // namespace parvel::sim
