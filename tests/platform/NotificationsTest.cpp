// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/Notifications.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

/// A session bus for one connection, which is the notification service too.
class NotificationService {
 public:
  NotificationService() : listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const std::string path = (folder_ / "bus").native();
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listener_, 1), 0);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + path).c_str(), 1);
    thread_ = std::jthread([this] { serve(); });
  }

  /// What came, once the caller has hung up: the program's name, icon, title,
  /// and body.
  std::vector<std::string> received() {
    thread_.join();
    return received_;
  }

 private:
  void serve() {
    sd_bus* bus = nullptr;
    sd_id128_t id{};
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    ::close(listener_);
    sd_bus_new(&bus);
    sd_bus_set_fd(bus, connection, connection);
    sd_id128_randomize(&id);
    sd_bus_set_server(bus, 1, id);
    sd_bus_add_filter(bus, nullptr, onMessage, this);
    sd_bus_start(bus);
    while (sd_bus_process(bus, nullptr) >= 0 && sd_bus_wait(bus, UINT64_MAX) >= 0) {
    }
    sd_bus_unref(bus);
  }

  static int onMessage(sd_bus_message* message, void* service, sd_bus_error*) {
    if (sd_bus_message_is_method_call(message, "org.freedesktop.DBus", "Hello") > 0) {
      return sd_bus_reply_method_return(message, "s", ":1.1");
    }
    if (sd_bus_message_is_method_call(message, "org.freedesktop.Notifications", "Notify") > 0) {
      const char* texts[4] = {"", "", "", ""};
      unsigned replaces = 0;
      sd_bus_message_read(message, "susss", &texts[0], &replaces, &texts[1], &texts[2], &texts[3]);
      static_cast<NotificationService*>(service)->received_.assign(std::begin(texts),
                                                                   std::end(texts));
      return sd_bus_reply_method_return(message, "u", 7U);
    }
    return 0;
  }

  const TemporaryFolder folder_;
  const int listener_;
  std::vector<std::string> received_;  // the thread's, until it has ended
  std::jthread thread_;
};

TEST(Notifications, ReachTheDesktopsServiceWithTitleAndBody) {
  NotificationService service;
  postDesktopNotification("Destination offline", "caf\xE9 — reconnect");
  EXPECT_EQ(service.received(),
            (std::vector<std::string>{"Vaultmere", "vaultmere", "Destination offline",
                                      "caf\uFFFD — reconnect"}));
}

}  // namespace
}  // namespace vaultmere
