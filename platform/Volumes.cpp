// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Volumes.h"

#include <fcntl.h>
#include <libmount/libmount.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <systemd/sd-device.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <map>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace vaultmere {
namespace fs = std::filesystem;

namespace {

constexpr const char* kMountTable = "/proc/self/mountinfo";

struct DropTable {
  void operator()(libmnt_table* table) const { mnt_unref_table(table); }
};
struct DropIterator {
  void operator()(libmnt_iter* iterator) const { mnt_free_iter(iterator); }
};
struct DropDevice {
  void operator()(sd_device* device) const { sd_device_unref(device); }
};
using Table = std::unique_ptr<libmnt_table, DropTable>;
using Iterator = std::unique_ptr<libmnt_iter, DropIterator>;
using Device = std::unique_ptr<sd_device, DropDevice>;

/// The UUIDs of the block devices, as far as the device manager tells them.
class DeviceUuids {
 public:
  DeviceUuids() {
    std::error_code error;
    for (fs::directory_iterator link("/dev/disk/by-uuid", error), end; !error && link != end;
         link.increment(error)) {
      if (const auto device = blockDevice(link->path())) {
        byDevice_.emplace(*device, link->path().filename().native());
      }
    }
  }

  /// The UUID on the device that a mount's source names, or empty.
  [[nodiscard]] std::string of(std::string_view source) const {
    if (!source.starts_with("/dev/")) {
      return {};
    }
    const auto device = blockDevice(source);
    if (!device) {
      return {};
    }
    const auto known = byDevice_.find(*device);
    return known != byDevice_.end() ? known->second : byDeviceManager(*device);
  }

 private:
  static std::optional<dev_t> blockDevice(const fs::path& path) {
    struct stat s {};
    if (::stat(path.c_str(), &s) == -1 || !S_ISBLK(s.st_mode)) {
      return std::nullopt;
    }
    return s.st_rdev;
  }

  /// A file system on several devices has its link at one of them only.
  static std::string byDeviceManager(dev_t number) {
    sd_device* raw = nullptr;
    if (sd_device_new_from_devnum(&raw, 'b', number) < 0) {
      return {};
    }
    const Device device(raw);
    const char* uuid = nullptr;
    return sd_device_get_property_value(raw, "ID_FS_UUID", &uuid) < 0 ? "" : uuid;
  }

  std::map<dev_t, std::string> byDevice_;
};

std::string textOf(const char* text) { return text == nullptr ? "" : text; }

Volume volumeOfEntry(libmnt_fs* entry, const DeviceUuids& uuids) {
  Volume volume;
  volume.identity.type = textOf(mnt_fs_get_fstype(entry));
  volume.identity.source = textOf(mnt_fs_get_source(entry));
  volume.identity.uuid = uuids.of(volume.identity.source);
  volume.mountPoint = textOf(mnt_fs_get_target(entry));
  if (const char* root = mnt_fs_get_root(entry)) {
    volume.mountedFolder = root;
  }
  return volume;
}

Table readTable() { return Table(mnt_new_table_from_file(kMountTable)); }

template <typename Visit>
void forEachEntry(const Table& table, Visit&& visit) {
  const Iterator iterator(mnt_new_iter(MNT_ITER_FORWARD));
  libmnt_fs* entry = nullptr;
  while (table && iterator && mnt_table_next_fs(table.get(), iterator.get(), &entry) == 0) {
    visit(entry);
  }
}

/// The entry of the mount that an existing path lies in. By the kernel's
/// number of the mount where it is told, since another mount may hide one with
/// a longer path.
libmnt_fs* entryOf(const Table& table, const fs::path& realPath) {
  libmnt_fs* found = nullptr;
  struct statx s {};
  if (::statx(AT_FDCWD, realPath.c_str(), 0, STATX_MNT_ID, &s) == 0 &&
      (s.stx_mask & STATX_MNT_ID) != 0) {
    forEachEntry(table, [&](libmnt_fs* entry) {
      if (std::cmp_equal(mnt_fs_get_id(entry), s.stx_mnt_id)) {
        found = entry;
      }
    });
  }
  return found != nullptr
             ? found
             : mnt_table_find_mountpoint(table.get(), realPath.c_str(), MNT_ITER_BACKWARD);
}

/// `blocks` × `size`, held at the largest number that fits.
std::int64_t bytesOf(fsblkcnt_t blocks, unsigned long size) {
  constexpr auto largest = std::numeric_limits<std::int64_t>::max();
  std::int64_t bytes = 0;
  return __builtin_mul_overflow(blocks, size, &bytes) ? largest : bytes;
}

}  // namespace

bool VolumeIdentity::matches(const VolumeIdentity& other) const {
  if (!uuid.empty() && !other.uuid.empty()) {
    return uuid == other.uuid;
  }
  return !type.empty() && type == other.type && source == other.source;
}

std::vector<Volume> mountedVolumes() {
  const DeviceUuids uuids;
  const Table table = readTable();
  std::vector<Volume> volumes;
  forEachEntry(table, [&](libmnt_fs* entry) { volumes.push_back(volumeOfEntry(entry, uuids)); });
  return volumes;
}

std::optional<Volume> volumeOf(const fs::path& path) {
  std::error_code error;
  const fs::path realPath = fs::canonical(path, error);
  const Table table = error ? nullptr : readTable();
  libmnt_fs* entry = table ? entryOf(table, realPath) : nullptr;
  if (entry == nullptr) {
    return std::nullopt;
  }
  return volumeOfEntry(entry, DeviceUuids());
}

std::optional<VolumeCapacity> capacityOf(const fs::path& path) {
  struct statvfs s {};
  int result = 0;
  do {
    result = ::statvfs(path.c_str(), &s);
  } while (result == -1 && errno == EINTR);
  const VolumeCapacity capacity{bytesOf(s.f_blocks, s.f_frsize), bytesOf(s.f_bavail, s.f_frsize)};
  if (result == -1 || capacity.total < 1) {
    return std::nullopt;
  }
  return capacity;
}

// MARK: MountWatcher

struct MountWatcher::Watch {
  explicit Watch(std::function<void()> theOnChange)
      : onChange(std::move(theOnChange)),
        table(::open(kMountTable, O_RDONLY | O_CLOEXEC)),
        stop(::eventfd(0, EFD_CLOEXEC)) {
    if (table == -1 || stop == -1) {
      return;
    }
    try {
      thread = std::thread([this] { run(); });
    } catch (const std::system_error&) {
      // Silence is what a table that can't be watched gives.
    }
  }

  ~Watch() {
    if (thread.joinable()) {
      ::eventfd_write(stop, 1);
      thread.join();
    }
    for (const int descriptor : {table, stop}) {
      if (descriptor != -1) {
        ::close(descriptor);
      }
    }
  }

  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  void run() const {
    pollfd watched[] = {{table, POLLPRI, 0}, {stop, POLLIN, 0}};
    for (;;) {
      if (::poll(watched, 2, -1) == -1) {
        if (errno == EINTR) {
          continue;
        }
        return;
      }
      if (watched[1].revents != 0 || (watched[0].revents & POLLNVAL) != 0) {
        return;
      }
      onChange();
    }
  }

  const std::function<void()> onChange;
  const int table;  ///< -1 when it can't be opened
  const int stop;
  std::thread thread;
};

MountWatcher::MountWatcher(std::function<void()> onChange)
    : watch_(std::make_unique<Watch>(std::move(onChange))) {}

MountWatcher::~MountWatcher() = default;

}  // namespace vaultmere
