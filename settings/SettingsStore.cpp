// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsStore.h"

#include <cerrno>
#include <limits>
#include <system_error>
#include <utility>

#include "platform/Calendar.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

using nlohmann::json;

namespace key {
constexpr const char* destination = "bookmark.destination";
constexpr const char* inbox = "bookmark.inbox";
constexpr const char* marginGB = "setting.marginGB";
constexpr const char* streamCapGB = "setting.streamCapGB";
constexpr const char* streamIntervalHours = "setting.streamIntervalHours";
constexpr const char* serverPassword = "setting.serverPassword";
constexpr const char* serverPort = "setting.serverPort";
constexpr const char* streamUsesDailyTime = "setting.streamUsesDailyTime";
constexpr const char* streamDailyTime = "setting.streamDailyTime";
constexpr const char* streamWeekdays = "setting.streamWeekdays";
constexpr const char* deleteSourceAfterIntake = "setting.deleteSourceAfterIntake";
constexpr const char* autoStackPairs = "setting.autoStackPairs";
constexpr const char* streamLastFired = "setting.streamLastFired";
}  // namespace key

std::optional<std::int64_t> integerIn(const json& value) {
  if (!value.is_number_integer()) {
    return std::nullopt;
  }
  if (value.is_number_unsigned() &&
      std::cmp_greater(value.get<std::uint64_t>(), std::numeric_limits<std::int64_t>::max())) {
    return std::nullopt;
  }
  return value.get<std::int64_t>();
}

bool boolean(const json& value, bool otherwise) {
  return value.is_boolean() ? value.get<bool>() : otherwise;
}

/// A password typed into the file without its quotes is still a password.
std::string password(const json& value) {
  if (value.is_string()) {
    return value.get<std::string>();
  }
  return value.is_number() ? value.dump() : std::string();
}

std::optional<TimePoint> dateIn(const json& value) {
  return value.is_string() ? parseInternetDateTime(value.get<std::string>()) : std::nullopt;
}

TimePoint threeOClock(TimePoint now) {
  CivilTime time = localTime(now);
  time.hour = 3;
  time.minute = 0;
  time.second = 0;
  return momentOfLocalTime(time).value_or(now);
}

const std::set<int> kAllWeekdays = {1, 2, 3, 4, 5, 6, 7};

std::set<int> weekdays(const json& value) {
  if (!value.is_array()) {
    return kAllWeekdays;
  }
  std::set<int> days;
  for (const json& element : value) {
    const auto day = integerIn(element);
    if (!day || !std::in_range<int>(*day)) {
      return kAllWeekdays;
    }
    days.insert(static_cast<int>(*day));
  }
  return days;
}

std::int64_t bytesOf(std::int64_t gigabytes) {
  using Limits = std::numeric_limits<std::int64_t>;
  std::int64_t bytes = 0;
  if (__builtin_mul_overflow(gigabytes, std::int64_t{1'000'000'000}, &bytes)) {
    return gigabytes < 0 ? Limits::min() : Limits::max();
  }
  return bytes;
}

}  // namespace

SettingsStore::SettingsStore(SettingsFile& defaults, MainThread& main, Background background)
    : main_(main),
      background_(std::move(background)),
      defaults_(defaults),
      marginGB_(integerIn(defaults.value(key::marginGB)).value_or(10)),
      streamCapGB_(integerIn(defaults.value(key::streamCapGB)).value_or(20)),
      streamIntervalHours_(integerIn(defaults.value(key::streamIntervalHours)).value_or(24)),
      serverPort_(integerIn(defaults.value(key::serverPort)).value_or(2525)),
      serverPassword_(password(defaults.value(key::serverPassword))),
      streamUsesDailyTime_(boolean(defaults.value(key::streamUsesDailyTime), false)),
      streamDailyTime_(
          dateIn(defaults.value(key::streamDailyTime)).value_or(threeOClock(main.now()))),
      streamWeekdays_(weekdays(defaults.value(key::streamWeekdays))),
      deleteSourceAfterIntake_(boolean(defaults.value(key::deleteSourceAfterIntake), false)),
      autoStackPairs_(boolean(defaults.value(key::autoStackPairs), true)),
      destination_{key::destination, Bookmark::fromJson(defaults.value(key::destination))},
      inbox_{key::inbox, Bookmark::fromJson(defaults.value(key::inbox))},
      streamLastFired_(dateIn(defaults.value(key::streamLastFired))) {}

std::int64_t SettingsStore::marginBytes() const { return bytesOf(marginGB_); }

std::int64_t SettingsStore::streamCapBytes() const { return bytesOf(streamCapGB_); }

template <typename Value>
void SettingsStore::assign(Value& current, const Value& value, const char* key, json stored) {
  defaults_.set(key, std::move(stored));
  if (current != value) {
    current = value;
    changed_.emit();
  }
}

void SettingsStore::setMarginGB(std::int64_t gigabytes) {
  assign(marginGB_, gigabytes, key::marginGB, gigabytes);
}

void SettingsStore::setStreamCapGB(std::int64_t gigabytes) {
  assign(streamCapGB_, gigabytes, key::streamCapGB, gigabytes);
}

void SettingsStore::setStreamIntervalHours(std::int64_t hours) {
  assign(streamIntervalHours_, hours, key::streamIntervalHours, hours);
}

void SettingsStore::setServerPassword(const std::string& password) {
  assign(serverPassword_, password, key::serverPassword, password);
}

void SettingsStore::setServerPort(std::int64_t port) {
  assign(serverPort_, port, key::serverPort, port);
}

void SettingsStore::setStreamUsesDailyTime(bool uses) {
  assign(streamUsesDailyTime_, uses, key::streamUsesDailyTime, uses);
}

void SettingsStore::setStreamDailyTime(TimePoint moment) {
  assign(streamDailyTime_, moment, key::streamDailyTime, rfc3339(moment));
}

void SettingsStore::setStreamWeekdays(const std::set<int>& weekdays) {
  assign(streamWeekdays_, weekdays, key::streamWeekdays, weekdays);
}

void SettingsStore::setDeleteSourceAfterIntake(bool deletes) {
  assign(deleteSourceAfterIntake_, deletes, key::deleteSourceAfterIntake, deletes);
}

void SettingsStore::setAutoStackPairs(bool stacks) {
  assign(autoStackPairs_, stacks, key::autoStackPairs, stacks);
}

void SettingsStore::assignBookmark(Location& location, const std::optional<Bookmark>& value) {
  if (value) {
    assign(location.bookmark, value, location.key, value->toJson());
    return;
  }
  defaults_.remove(location.key);
  if (location.bookmark) {
    location.bookmark.reset();
    changed_.emit();
  }
}

void SettingsStore::choose(Location& location, const std::filesystem::path& folder, Done done) {
  const auto finish = [this, &location, folder, done = std::move(done), choice = ++location.choice](
                          const std::optional<Bookmark>& found, int code) {
    if (choice != location.choice) {
      return;
    }
    ++location.choice;  // a late answer is stale
    location.timeout.stop();
    std::optional<FileError> failure;
    if (found) {
      assignBookmark(location, found);
    } else {
      failure.emplace("open", folder, code);
      logLine(std::string("Vaultmere: chosen folder not stored — ") + failure->what());
    }
    if (done) {
      done(failure);
    }
  };
  location.timeout = main_.after(kTimeout, toMain_([finish] { finish(std::nullopt, ETIMEDOUT); }));
  try {
    background_([folder, found = toMain_(finish)] {
      try {
        found(std::optional(Bookmark::of(folder)), 0);
      } catch (const FileError& error) {
        found(std::optional<Bookmark>(), error.code());
      } catch (const std::exception&) {
        found(std::optional<Bookmark>(), EIO);
      }
    });
  } catch (const std::system_error& error) {
    toMain_([finish, code = error.code().value()] { finish(std::nullopt, code); })();
  }
}

void SettingsStore::setDestinationRoot(const std::filesystem::path& root, Done done) {
  choose(destination_, root, std::move(done));
}

void SettingsStore::setInbox(const std::optional<std::filesystem::path>& folder, Done done) {
  if (folder) {
    choose(inbox_, *folder, std::move(done));
    return;
  }
  ++inbox_.choice;
  inbox_.timeout.stop();
  assignBookmark(inbox_, std::nullopt);
  if (done) {
    done(std::nullopt);
  }
}

void SettingsStore::updateDestination(const Bookmark& bookmark) {
  assignBookmark(destination_, bookmark);
}

void SettingsStore::setStreamLastFired(TimePoint moment) {
  streamLastFired_ = std::chrono::floor<std::chrono::seconds>(moment);
  defaults_.set(key::streamLastFired, rfc3339(moment));
}

}  // namespace vaultmere
