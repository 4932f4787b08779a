// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "platform/Notifications.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using Strings = std::vector<std::string>;

/// Answers the bus's greeting, and takes note of a notification's program name,
/// icon, title and body.
int onMessage(sd_bus_message* message, void* received, sd_bus_error*) {
  if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus", "Hello") > 0) {
    return sd_bus_reply_method_return(message, "s", ":1.1");
  }
  if (sd_bus_message_is_method_call(message, "org.freedesktop.Notifications", "Notify") > 0) {
    const char* texts[4] = {"", "", "", ""};
    unsigned replaces = 0;
    sd_bus_message_read(message, "susss", &texts[0], &replaces, &texts[1], &texts[2], &texts[3]);
    static_cast<Strings*>(received)->assign(std::begin(texts), std::end(texts));
    return sd_bus_reply_method_return(message, "u", 7U);
  }
  return 0;
}

/// Serves one client as a session bus and its notification service, until it
/// hangs up.
void serveOne(int listener, Strings& received) {
  sd_bus* bus = nullptr;
  const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  sd_bus_new(&bus);
  sd_bus_set_fd(bus, client, client);
  sd_bus_set_server(bus, 1,
                    SD_ID128_MAKE(01, 02, 03, 04, 05, 06, 07, 08, 09, 0a, 0b, 0c, 0d, 0e, 0f, 10));
  sd_bus_add_filter(bus, nullptr, onMessage, &received);
  sd_bus_start(bus);
  while (sd_bus_process(bus, nullptr) >= 0 && sd_bus_wait(bus, UINT64_MAX) >= 0) {
  }
  sd_bus_unref(bus);
}

TEST(Notifications, ReachTheDesktopsServiceWithTitleAndBody) {
  const TemporaryFolder folder;
  const std::string path = (folder / "bus").native();
  sockaddr_un address{AF_UNIX, {}};
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(::listen(listener, 1), 0);
  ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
  Strings received;
  std::jthread service(serveOne, listener, std::ref(received));
  postDesktopNotification("Destination offline", "caf\xE9 — reconnect");
  service.join();
  EXPECT_EQ(received,
            (Strings{"Vaultmere", "vaultmere", "Destination offline", "caf\uFFFD — reconnect"}));
  ::close(listener);
}

}  // namespace
}  // namespace vaultmere
