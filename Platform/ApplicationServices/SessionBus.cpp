#include "SessionBus.h"

#include <climits>
#include <gio/gio.h>
#include <memory>

namespace platform {
namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(GVariant* variant) const { g_variant_unref(variant); }
    void operator()(char* text) const { g_free(text); }
};
template <class T>
using Owned = std::unique_ptr<T, Unref>;

int milliseconds(std::int32_t timeOut) {
    constexpr std::int32_t none = -2;
    constexpr int ticksASecond = 60;
    if (timeOut < 0)
        return timeOut == none ? G_MAXINT : -1;
    return static_cast<int>(std::int64_t{timeOut} * 1000 / ticksASecond);
}

// A connection of our own: the process's shared one would end the process when the bus goes away.
Owned<GDBusConnection> connectToSessionBus() {
    const Owned<char> address(g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!address)
        return nullptr;
    constexpr auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                             G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    return Owned<GDBusConnection>(
        g_dbus_connection_new_for_address_sync(address.get(), flags, nullptr, nullptr, nullptr));
}

// Absent when the bus does not answer.
std::optional<bool> hasOwner(GDBusConnection* bus, const std::string& name, int timeOut) {
    const Owned<GVariant> answer(g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
        g_variant_new("(s)", name.c_str()), G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NONE, timeOut, nullptr, nullptr));
    if (!answer)
        return std::nullopt;
    gboolean owned = FALSE;
    g_variant_get(answer.get(), "(b)", &owned);
    return owned != FALSE;
}

Owned<GDBusMessage> messageOf(const BusAddress& receiver, const ApplicationCall& call) {
    const bool quit = call.method == ApplicationCall::Method::Quit;
    Owned<GDBusMessage> message(g_dbus_message_new_method_call(receiver.name.c_str(), receiver.objectPath.c_str(),
                                                               "org.freedesktop.Application",
                                                               quit ? "ActivateAction" : "Open"));
    const char* const addresses[] = {call.address.c_str(), nullptr};
    g_dbus_message_set_body(message.get(), quit ? g_variant_new("(sava{sv})", "quit", nullptr, nullptr)
                                                : g_variant_new("(^asa{sv})", addresses, nullptr));
    g_dbus_message_set_flags(message.get(), static_cast<GDBusMessageFlags>(G_DBUS_MESSAGE_FLAGS_NO_REPLY_EXPECTED |
                                                                           G_DBUS_MESSAGE_FLAGS_NO_AUTO_START));
    return message;
}

} // namespace

BusOutcome sendOverSessionBus(const BusAddress& receiver, const ApplicationCall& call, std::int32_t timeOut) {
    if (!g_utf8_validate(call.address.c_str(), -1, nullptr))
        return BusOutcome::NoText;
    const Owned<GDBusConnection> bus = connectToSessionBus();
    if (!bus)
        return BusOutcome::NoBus;
    const std::optional<bool> owned = hasOwner(bus.get(), receiver.name, milliseconds(timeOut));
    if (!owned.value_or(false))
        return owned ? BusOutcome::NoReceiver : BusOutcome::NoBus;
    const Owned<GDBusMessage> message = messageOf(receiver, call);
    // Closing flushes: when it succeeds, the bus has the message.
    const bool sent = g_dbus_connection_send_message(bus.get(), message.get(), G_DBUS_SEND_MESSAGE_FLAGS_NONE, nullptr,
                                                     nullptr) != FALSE &&
                      g_dbus_connection_flush_sync(bus.get(), nullptr, nullptr) != FALSE;
    g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
    return sent ? BusOutcome::Sent : BusOutcome::NoBus;
}

std::optional<BusAddress> addressOfDefaultApplication() {
    GApplication* application = g_application_get_default();
    GDBusConnection* bus = application ? g_application_get_dbus_connection(application) : nullptr;
    const char* path = application ? g_application_get_dbus_object_path(application) : nullptr;
    if (!bus || !path)
        return std::nullopt;
    return BusAddress{g_dbus_connection_get_unique_name(bus), path};
}

} // namespace platform
