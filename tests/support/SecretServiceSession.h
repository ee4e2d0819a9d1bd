#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gio/gio.h>
#include <stdlib.h>

#include "support/Subprocess.h"
#include "support/TemporaryDirectory.h"

namespace parvel::test_support {

// A real Secret Service that belongs to the test: a private D-Bus session bus plus GNOME Keyring
// with an unlocked login keyring, in a private home folder, so nothing touches the user's own
// keyring. Both daemons stop when the session goes away. Throws with a clear message when they
// cannot start (dbus-daemon and gnome-keyring-daemon come from scripts/bootstrap.sh).
class SecretServiceSession {
  public:
    static constexpr auto kStartTimeout = std::chrono::seconds(10);

    SecretServiceSession() {
        const auto runtime = home_.path() + "/run";
        std::filesystem::create_directories(runtime);
        std::filesystem::permissions(runtime, std::filesystem::perms::owner_all);
        bus_ = std::make_unique<Subprocess>(
            std::vector<std::string>{"dbus-daemon", "--session", "--nofork", "--print-address=1",
                                     "--address=unix:path=" + home_.path() + "/bus"});
        address_ = bus_->readOutputLine();
        if (address_.empty()) {
            throw std::runtime_error("dbus-daemon did not report its address");
        }
        // An empty line as the password creates and unlocks the login keyring.
        keyring_ = std::make_unique<Subprocess>(
            std::vector<std::string>{"gnome-keyring-daemon", "--foreground", "--unlock",
                                     "--components=secrets"},
            std::vector<std::string>{"DBUS_SESSION_BUS_ADDRESS=" + address_, "HOME=" + home_.path(),
                                     "XDG_DATA_HOME=" + home_.path(),
                                     "XDG_CONFIG_HOME=" + home_.path(),
                                     "XDG_RUNTIME_DIR=" + runtime},
            "\n");
        waitForLoginKeyring();
    }

    // For child processes: the variable that points them at this session's bus.
    std::string busVariable() const { return "DBUS_SESSION_BUS_ADDRESS=" + address_; }

    // Points this process's libsecret at the session. Call before anything in the process talks
    // to the session bus: GLib keeps its first connection for good. That connection would end
    // the process once the daemons stop, so it is told not to.
    void useInThisProcess() const {
        ::setenv("DBUS_SESSION_BUS_ADDRESS", address_.c_str(), 1);
        const Connection shared(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        if (!shared) {
            throw std::runtime_error("could not connect to the private session bus");
        }
        g_dbus_connection_set_exit_on_close(shared.get(), FALSE);
    }

  private:
    struct ObjectDeleter {
        void operator()(gpointer object) const { g_object_unref(object); }
    };
    struct VariantDeleter {
        void operator()(GVariant* variant) const { g_variant_unref(variant); }
    };
    using Connection = std::unique_ptr<GDBusConnection, ObjectDeleter>;
    using Variant = std::unique_ptr<GVariant, VariantDeleter>;

    // The keyring answers on the bus a moment after it starts. Asks without auto-starting, so the
    // bus never launches a second keyring of its own.
    void waitForLoginKeyring() const {
        const Connection connection(g_dbus_connection_new_for_address_sync(
            address_.c_str(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr));
        if (!connection) {
            throw std::runtime_error("could not connect to the private bus at " + address_);
        }
        const auto deadline = std::chrono::steady_clock::now() + kStartTimeout;
        bool ready = false;
        while (!ready && std::chrono::steady_clock::now() < deadline) {
            ready =
                defaultCollection(connection.get()) == "/org/freedesktop/secrets/collection/login";
            if (!ready) {
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
        }
        g_dbus_connection_close_sync(connection.get(), nullptr, nullptr);
        if (!ready) {
            throw std::runtime_error(
                "gnome-keyring-daemon did not offer an unlocked login keyring within 10 s");
        }
    }

    static std::string defaultCollection(GDBusConnection* connection) {
        const Variant reply(g_dbus_connection_call_sync(
            connection, "org.freedesktop.secrets", "/org/freedesktop/secrets",
            "org.freedesktop.Secret.Service", "ReadAlias", g_variant_new("(s)", "default"), nullptr,
            G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, nullptr, nullptr));
        if (!reply || !g_variant_check_format_string(reply.get(), "(&o)", FALSE)) {
            return {};
        }
        const gchar* path = nullptr;
        g_variant_get(reply.get(), "(&o)", &path);
        return path;
    }

    // Declared in start order; they stop in reverse: the keyring, then its bus, then the folder.
    TemporaryDirectory home_;
    std::unique_ptr<Subprocess> bus_;
    std::unique_ptr<Subprocess> keyring_;
    std::string address_;
};

}  // namespace parvel::test_support
