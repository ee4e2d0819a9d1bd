#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/Platform.h"
#include "platform/Processes.h"
#include "platform/sim/VirtualDispatch.h"

namespace parvel::sim {

class AccessibilityTree;
class Applications;
class Displays;
class Dock;
class Finder;
class Hardware;
class Power;
class RecordingDefaults;
class SimAppleScript;
class SimApplication;
class SimAudio;
class SimBundle;
class SimEvents;
class SimIntents;
class SimKeychain;
class SimNetworkPath;
class SimPasteboard;
class SimPresenter;
class SimProcessInfo;
class SimProcesses;
class SimSpeech;
class SimWorkspace;
class SystemTools;
class Trace;
class TracingLog;
struct Permissions;

struct SimulatedMacOptions {
    // Where the Mac's files live; empty for a fresh folder (in memory when /dev/shm exists),
    // removed again when the Mac goes away.
    std::string sandboxRoot;
    std::string userName = "me";
    unsigned userId = 501;
    std::string bundlePath = "/Applications/ParvelMac.app";
    VirtualDispatch::Options clock;
    // The same seed gives the same identifiers and shuffles on every run.
    std::uint64_t randomSeed = 1;
};

// A simulated Mac: a behavioural model of the system the program runs on (applications and their
// windows, accessibility trees, Finder and the Dock, the pasteboard, input, permissions, defaults,
// the network, power and the battery, display and keyboard brightness, Bluetooth, a sandboxed
// file system with a Trash, emulated command-line tools) with every
// platform service implemented over it, in virtual time. Tests and the scenario runner drive the
// world through the accessors below and observe it, and the trace, afterwards.
//
// Everything happens one piece of code at a time (see VirtualDispatch), so the world takes no
// locks. Destroying the Mac first unwinds work still blocked in it.
class SimulatedMac {
  public:
    explicit SimulatedMac(SimulatedMacOptions options = {});
    ~SimulatedMac();
    SimulatedMac(const SimulatedMac&) = delete;
    SimulatedMac& operator=(const SimulatedMac&) = delete;

    // The services, for the program.
    const platform::Platform& platform() const { return platform_; }

    VirtualDispatch& dispatch() { return dispatch_; }
    Trace& trace();
    Applications& applications();
    Displays& displays();
    AccessibilityTree& accessibilityTree();
    Finder& finder();
    Dock& dock();
    Permissions& permissions();
    // The battery, the power source, pmset's settings, the charge limit and sleep requests.
    Power& power();
    // Display brightness, the keyboard backlight and Bluetooth power.
    Hardware& hardware();
    SimPasteboard& pasteboard();
    SimEvents& events();
    SimWorkspace& workspace();
    SimProcesses& processes();
    SimAppleScript& appleScript();
    SimNetworkPath& network();
    SimSpeech& speech();
    SimBundle& bundle();
    SimProcessInfo& processInfo();
    TracingLog& log();
    SimPresenter& presenter();
    SimKeychain& keychain();
    // The audio hardware: output devices, audio processes, taps and aggregate devices.
    SimAudio& audio();
    SimIntents& intents();
    // The application object of the program's current process.
    SimApplication& application();
    // The program's process has ended: its windows, modals and menu-bar item disappear.
    void endProgramProcess();
    // Starts a new process of the program after the last one ended: a fresh application object
    // (platform().application follows it). The process keeps its id, a simplification nothing
    // in the program depends on.
    void startNewProgramProcess();
    // The emulated command-line tools and their models (launch agents, plug-ins, the
    // administrator prompt).
    SystemTools& systemTools();
    platform::FileSystem& files();
    // The defaults service the program and the emulated tools share (every change is traced).
    platform::Defaults& defaults();

    const std::string& sandboxRoot() const { return sandboxRoot_; }
    std::string homeDirectory() const { return "/Users/" + userName_; }
    platform::ProcessId ownPid() const { return kOwnPid; }
    // The system appearance, as System Events sets it and the presenter reports it.
    bool darkMode() const;
    void setDarkMode(bool dark);
    // How many times something asked the Mac to sleep (System Events, pmset).
    int sleepRequests() const;

    // This program's process id on the simulated Mac.
    static constexpr platform::ProcessId kOwnPid = 150;

  private:
    struct Parts;

    void createFolders();
    void connectOwnApplication();
    void installSystemScripts();

    VirtualDispatch dispatch_;
    std::string userName_;
    std::string sandboxRoot_;
    bool ownsSandbox_ = false;
    std::unique_ptr<Parts> parts_;
    std::unique_ptr<SystemTools> systemTools_;
    platform::Platform platform_;
};

}  // namespace parvel::sim
