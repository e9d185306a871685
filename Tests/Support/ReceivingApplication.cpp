// An application on the session bus, as the tests need one: it prints a line for each call that it receives.
//
//     ReceivingApplication BUS-NAME OBJECT-PATH
//
// "ready" once it owns the name; then "quit", after which it ends, or "open ADDRESS", or "other METHOD".

#include <cstdio>
#include <gio/gio.h>
#include <string>
#include <string_view>

namespace {

constexpr char interfaceText[] = "<node><interface name='org.freedesktop.Application'>"
                                 "<method name='Activate'><arg type='a{sv}' direction='in'/></method>"
                                 "<method name='Open'><arg type='as' direction='in'/>"
                                 "<arg type='a{sv}' direction='in'/></method>"
                                 "<method name='ActivateAction'><arg type='s' direction='in'/>"
                                 "<arg type='av' direction='in'/><arg type='a{sv}' direction='in'/></method>"
                                 "</interface></node>";

GMainLoop* loop;
const char* objectPath;

void print(const char* line) {
    std::puts(line);
    std::fflush(stdout);
}

void onCall(GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant* parameters,
            GDBusMethodInvocation* invocation, gpointer) {
    const std::string_view name = method;
    if (name == "Open") {
        GVariantIter* addresses = nullptr;
        g_variant_get(parameters, "(asa{sv})", &addresses, nullptr);
        const char* address = nullptr;
        while (g_variant_iter_loop(addresses, "s", &address))
            print((std::string("open ") + address).c_str());
        g_variant_iter_free(addresses);
    } else if (const char* action = nullptr; name == "ActivateAction") {
        g_variant_get_child(parameters, 0, "&s", &action);
        print(action);
        if (std::string_view(action) == "quit")
            g_main_loop_quit(loop);
    } else {
        print(("other " + std::string(method)).c_str());
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
}

void onBus(GDBusConnection* bus, const char*, gpointer) {
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(interfaceText, nullptr);
    static const GDBusInterfaceVTable table = {onCall, nullptr, nullptr, {}};
    g_dbus_connection_register_object(bus, objectPath, node->interfaces[0], &table, nullptr, nullptr, nullptr);
    g_dbus_node_info_unref(node);
}

void onName(GDBusConnection*, const char*, gpointer) {
    print("ready");
}

void onLost(GDBusConnection*, const char*, gpointer) {
    g_main_loop_quit(loop);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    objectPath = argv[2];
    loop = g_main_loop_new(nullptr, FALSE);
    g_bus_own_name(G_BUS_TYPE_SESSION, argv[1], G_BUS_NAME_OWNER_FLAGS_NONE, onBus, onName, onLost, nullptr, nullptr);
    g_main_loop_run(loop);
    return 0;
}
