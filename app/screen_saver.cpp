#include "app/screen_saver.h"

#include <gio/gio.h>

#include <cstdlib>

#include "base/debug_log.h"

namespace vantaro {
namespace {

constexpr int kCallTimeoutMs = 1000;

GDBusConnection* SessionBus() {
  // Without an address, GIO would try to launch a bus of its own; a program
  // started outside a desktop session has nothing to inhibit.
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  if (!address || !*address) return nullptr;
  return g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
}

GVariant* CallScreenSaver(const char* method, GVariant* parameters, const GVariantType* reply) {
  GDBusConnection* bus = SessionBus();
  if (!bus) {
    if (parameters) g_variant_unref(g_variant_ref_sink(parameters));
    return nullptr;
  }
  GError* error = nullptr;
  GVariant* result = g_dbus_connection_call_sync(
      bus, "org.freedesktop.ScreenSaver", "/org/freedesktop/ScreenSaver",
      "org.freedesktop.ScreenSaver", method, parameters, reply, G_DBUS_CALL_FLAGS_NONE,
      kCallTimeoutMs, nullptr, &error);
  if (error) {
    DebugLog("screen saver: %s failed: %s", method, error->message);
    g_error_free(error);
  }
  g_object_unref(bus);
  return result;
}

}  // namespace

bool InhibitScreenSaver(unsigned* cookie) {
  GVariant* result = CallScreenSaver("Inhibit", g_variant_new("(ss)", "Vantaro DJ", "Mixing live"),
                                     G_VARIANT_TYPE("(u)"));
  if (!result) return false;
  g_variant_get(result, "(u)", cookie);
  g_variant_unref(result);
  return true;
}

void ReleaseScreenSaver(unsigned cookie) {
  GVariant* result = CallScreenSaver("UnInhibit", g_variant_new("(u)", cookie), nullptr);
  if (result) g_variant_unref(result);
}

}  // namespace vantaro
