// SPDX-License-Identifier: GPL-3.0-or-later
// A media process that does what the first line of each file tells: answers, as
// "crash" after a still's properties, or each fault that a decoder might have.
// How it starts is told by its argument.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "media/MediaExit.h"
#include "media/MediaMessages.h"
#include "platform/ChildProcess.h"
#include "platform/Files.h"
#include "platform/MemoryFile.h"
#include "platform/PacketSocket.h"

namespace vaultmere {
namespace {

constexpr int kSide = 8;
constexpr std::size_t kPixelBytes = std::size_t{kSide} * kSide * 4;

/// To a picture's bytes, where the file lets it.
bool resize(int file) { return ::ftruncate(file, static_cast<off_t>(kPixelBytes)) == 0; }

/// Its own end of the connection, and a request that it has received.
struct Worker {
  PacketSocket& socket;
  MediaRequest request;
  Descriptor file;

  void sendText(std::string_view message, int descriptor = -1) { socket.send(message, descriptor); }
  void send(const MediaReply& reply, int descriptor = -1) {
    sendText(encodeMediaReply(reply), descriptor);
  }
  void sendProperties() {
    if (request.wantsProperties) {
      send(MediaFacts{ImageProperties(), std::nullopt});
    }
  }
  /// A picture whose head says this, with so many bytes.
  void sendPicture(MediaPictureHead head, std::size_t bytes = kPixelBytes) {
    send(head, MemoryFile(bytes).seal().get());
  }
  void sendPicture() { sendPicture({kSide, kSide, kPixelBytes}); }
  void sendPictureIn(int descriptor) {
    resize(descriptor);
    send(MediaPictureHead{kSide, kSide, kPixelBytes}, descriptor);
  }
  void answer() {
    sendProperties();
    for (std::size_t i = 0; i < request.pictures.size(); ++i) {
      sendPicture();
    }
  }
};

[[noreturn]] void hang() {
  for (;;) {
    ::pause();
  }
}

/// As without a sanitizer, which would end the process in its own way.
[[noreturn]] void endBy(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  ::_exit(1);
}

[[noreturn]] void crash() { endBy(SIGSEGV); }

[[noreturn]] void takeAllMemory() {
  constexpr std::size_t piece = std::size_t{4} << 20;
  for (;;) {
    void* memory = ::mmap(nullptr, piece, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED) {
      ::_exit(kMediaExitMemory);
    }
  }
}

/// What it has from the process that started it.
ImageProperties inherited() {
  std::string descriptors;
  for (int number = 0; number < 1000; ++number) {
    if (::fcntl(number, F_GETFD) >= 0) {
      descriptors += std::to_string(number) + " ";
    }
  }
  std::string environment = " ";
  for (char** variable = environ; *variable != nullptr; ++variable) {
    environment += std::string(*variable) + " ";
  }
  ImageProperties properties;
  properties.exif = {{"descriptors", descriptors},
                     {"environment", environment},
                     {"folder", std::filesystem::current_path().string()}};
  return properties;
}

using Fault = std::function<void(Worker&)>;

/// What is wrong with a message in place of the properties, or of the picture.
const std::map<std::string_view, Fault> kFaults{
    {"crash", [](Worker&) { crash(); }},
    {"abort", [](Worker&) { endBy(SIGABRT); }},
    {"unmapped", [](Worker&) { endBy(SIGBUS); }},
    {"hang", [](Worker&) { hang(); }},
    {"memory", [](Worker&) { takeAllMemory(); }},
    {"no-memory", [](Worker&) { ::_exit(kMediaExitMemory); }},
    {"exit", [](Worker&) { ::_exit(7); }},
    {"close",
     [](Worker&) {
       ::close(ChildProcess::kDescriptor);
       hang();
     }},
    {"garbage", [](Worker& w) { w.sendText(std::string(999, '\xFF')); }},
    {"slow",
     [](Worker& w) {
       ::usleep(150'000);
       w.answer();
     }},
    {"inherited",
     [](Worker& w) {
       w.send(MediaFacts{inherited(), std::nullopt});
     }},
    {"nested", [](Worker& w) { w.sendText(std::string(100'000, '[')); }},
    {"long", [](Worker& w) { w.sendText(std::string(kMaxMediaMessageBytes + 1, ' ')); }},
    {"version", [](Worker& w) { w.sendText(R"({"v":2,"facts":{}})"); }},
    {"ready-again",
     [](Worker& w) {
       w.send(MediaReady{"again", {}});
     }},
    {"video",
     [](Worker& w) {
       w.send(MediaFacts{std::nullopt, VideoProperties{}});
     }},
    {"facts-with-file", [](Worker& w) { w.send(MediaFacts{}, w.file.get()); }},
    {"picture-first", [](Worker& w) { w.sendPicture(); }},
    {"facts-then-crash",
     [](Worker& w) {
       w.sendProperties();
       crash();
     }},
    {"facts-twice",
     [](Worker& w) {
       w.sendProperties();
       w.sendProperties();
     }},
    {"one-too-many",
     [](Worker& w) {
       w.answer();
       w.sendPicture();
     }},
    {"answer-then-exit",
     [](Worker& w) {
       w.answer();
       ::_exit(0);
     }},
};

/// What is wrong with the picture that follows the properties.
const std::map<std::string_view, Fault> kPictureFaults{
    {"no-file",
     [](Worker& w) {
       w.send(MediaPictureHead{kSide, kSide, kPixelBytes});
     }},
    {"file-without-picture", [](Worker& w) { w.send(MediaNoPicture(), w.file.get()); }},
    {"regular-file", [](Worker& w) { w.sendPictureIn(w.file.get()); }},
    {"pipe",
     [](Worker& w) {
       int ends[2]{-1, -1};
       w.sendPictureIn(::pipe(ends) == 0 ? ends[0] : -1);
     }},
    {"unsealed", [](Worker& w) { w.sendPictureIn(::memfd_create("unsealed", MFD_ALLOW_SEALING)); }},
    {"half-sealed",
     [](Worker& w) {
       const int memory = ::memfd_create("half", MFD_ALLOW_SEALING);
       resize(memory);
       ::fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW);
       w.sendPictureIn(memory);
     }},
    {"short",
     [](Worker& w) {
       w.sendPicture({kSide, kSide, kPixelBytes}, kPixelBytes - 1);
     }},
    {"surplus",
     [](Worker& w) {
       w.sendPicture({kSide, kSide, kPixelBytes}, kPixelBytes + 1);
     }},
    {"hash", [](Worker& w) { w.send(MediaPictureHash{7}); }},
    {"wrong-bytes",
     [](Worker& w) {
       w.sendPicture({kSide, kSide, kPixelBytes - 4}, kPixelBytes - 4);
     }},
    {"side-0",
     [](Worker& w) {
       w.sendPicture({0, kSide, 1});
     }},
    {"side-9",
     [](Worker& w) {
       w.sendPicture({9, 1, 36}, 36);
     }},
    {"huge-side",
     [](Worker& w) {
       w.sendPicture({1 << 30, 4, 1});
     }},
    {"huge-bytes",
     [](Worker& w) {
       w.sendPicture({kSide, kSide, std::uint64_t{1} << 40U});
     }},
};

std::string firstLineOf(int file) {
  std::string line(64, '\0');
  const ssize_t count = ::pread(file, line.data(), line.size(), 0);
  line.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return line.substr(0, line.find('\n'));
}

void serve(PacketSocket& socket) {
  for (;;) {
    auto received = socket.receive(kMaxMediaMessageBytes);
    const auto request = parseMediaRequest(received.packet.bytes);
    if (!request) {
      return;
    }
    Worker worker{socket, *request, std::move(received.packet.descriptor)};
    const std::string line = firstLineOf(worker.file.get());
    if (const auto fault = kFaults.find(line); fault != kFaults.end()) {
      fault->second(worker);
    } else if (const auto late = kPictureFaults.find(line); late != kPictureFaults.end()) {
      worker.sendProperties();
      late->second(worker);
    } else {
      worker.answer();
    }
  }
}

}  // namespace
}  // namespace vaultmere

int main(int count, char** arguments) {
  using namespace vaultmere;
  const rlimit none{0, 0};
  ::setrlimit(RLIMIT_CORE, &none);
  const std::string_view start = count > 1 ? arguments[1] : "";
  PacketSocket socket{Descriptor(ChildProcess::kDescriptor)};
  if (start == "never-ready") {
    hang();
  }
  if (start == "crash") {
    crash();
  }
  if (start == "other-version") {
    socket.send(R"({"v":2,"ready":{"decoders":"x","lacking":[]}})");
  } else if (start == "silent-end") {
    return 3;
  } else {
    socket.send(encodeMediaReply(MediaReady{"faulty", {}}));
  }
  if (start == "ends-when-ready") {
    return 0;
  }
  try {
    serve(socket);
  } catch (const std::exception&) {
    return 1;
  }
}
