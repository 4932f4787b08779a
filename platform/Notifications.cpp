// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Notifications.h"

#include <systemd/sd-bus.h>

#include <chrono>
#include <memory>

#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::chrono::microseconds kTimeout = std::chrono::seconds(1);

struct CloseBus {
  // Without flushing: a bus that doesn't read would hold us.
  void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct DropMessage {
  void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Bus = std::unique_ptr<sd_bus, CloseBus>;
using Message = std::unique_ptr<sd_bus_message, DropMessage>;

/// The call of `Notify`; null when it can't be put together.
Message notifyCall(sd_bus* bus, const std::string& title, const std::string& body) {
  sd_bus_message* raw = nullptr;
  if (sd_bus_message_new_method_call(bus, &raw, "org.freedesktop.Notifications",
                                     "/org/freedesktop/Notifications",
                                     "org.freedesktop.Notifications", "Notify") < 0) {
    return nullptr;
  }
  Message message(raw);
  constexpr unsigned replacesNothing = 0;
  constexpr int serviceDecidesHowLong = -1;
  const bool built =
      sd_bus_message_append(raw, "susss", "Vaultmere", replacesNothing, "vaultmere",
                            validUtf8(title).c_str(), validUtf8(body).c_str()) >= 0 &&
      sd_bus_message_append(raw, "as", 0) >= 0 && sd_bus_message_append(raw, "a{sv}", 0) >= 0 &&
      sd_bus_message_append(raw, "i", serviceDecidesHowLong) >= 0;
  return built ? std::move(message) : nullptr;
}

int onReply(sd_bus_message*, void* answered, sd_bus_error*) {
  *static_cast<bool*>(answered) = true;
  return 0;
}

}  // namespace

void postDesktopNotification(const std::string& title, const std::string& body) {
  sd_bus* raw = nullptr;
  if (sd_bus_open_user(&raw) < 0) {
    return;
  }
  const Bus bus(raw);
  const Message message = notifyCall(raw, title, body);
  bool answered = false;
  // A plain call has a limit for the answer, but none for the greeting of the
  // bus before it; so the steps are taken here, under one limit for all.
  if (!message || sd_bus_call_async(raw, nullptr, message.get(), onReply, &answered,
                                    static_cast<std::uint64_t>(kTimeout.count())) < 0) {
    return;
  }
  const auto deadline = std::chrono::steady_clock::now() + kTimeout;
  while (!answered) {
    const int progress = sd_bus_process(raw, nullptr);
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        deadline - std::chrono::steady_clock::now());
    if (progress < 0 || left <= left.zero()) {
      return;
    }
    if (progress == 0 && sd_bus_wait(raw, static_cast<std::uint64_t>(left.count())) < 0) {
      return;
    }
  }
}

}  // namespace vaultmere
