// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/MediaProcess.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>

#include "media/MediaExit.h"
#include "platform/Text.h"

// NOLINTNEXTLINE(readability-redundant-declaration): unistd.h has it for some standards only
extern "C" char** environ;

namespace vaultmere {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

/// How often the memory of a process is looked at while it works.
constexpr milliseconds kMemoryInterval{50};

/// For the end of a process that has closed its socket.
constexpr milliseconds kEndTimeout{500};

/// What the head of a JPEG file and its tables may take beside the pixels.
constexpr std::uint64_t kJpegOverhead = std::uint64_t{64} << 10;

/// The locale; the libraries' own switches; in builds with sanitizers theirs.
std::vector<std::string> mediaEnvironment(const std::filesystem::path& program) {
  std::vector<std::string> variables{
      // ImageMagick would map its files into memory, where a drive that is pulled
      // out ends the process; a limit of none makes it read them.
      "MAGICK_MAP_LIMIT=0",
      // Its limits, beside the program.
      "MAGICK_CONFIGURE_PATH=" + (program.parent_path() / "imagemagick").native(),
      // Several processes work at once, and each has one file at a time.
      "OMP_NUM_THREADS=1",
      // There are no temporary files: large pictures stay in memory.
      "VIPS_DISC_THRESHOLD=2g",
      "MALLOC_ARENA_MAX=2",
  };
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string_view name = text.substr(0, text.find('='));
    if (name == "LANG" || name == "LANGUAGE" || name.starts_with("LC_") ||
        name.ends_with("SAN_OPTIONS")) {
      variables.emplace_back(text);
    }
  }
  return variables;
}

std::string signalName(int signal) {
  const char* name = ::sigabbrev_np(signal);
  return name == nullptr ? std::to_string(signal) : fmt::format("SIG{}", name);
}

}  // namespace

/// Ends an answer half-way.
struct MediaProcess::Failure {
  MediaFailure kind;
  std::string words;

  static Failure wrongAnswer() {
    return {MediaFailure::answeredWrongly, "decoder answered wrongly"};
  }
  static Failure memory() { return {MediaFailure::tooMuchMemory, "too much memory"}; }
};

MediaProcess::MediaProcess(Options options)
    : MediaProcess(std::move(options), PacketSocket::makePair()) {}

MediaProcess::MediaProcess(Options options, std::pair<PacketSocket, PacketSocket> ends)
    : options_(std::move(options)), socket_(std::move(ends.first)), process_([&]() -> ChildProcess {
        try {
          return ChildProcess({.program = options_.program,
                               .arguments = options_.arguments,
                               .environment = mediaEnvironment(options_.program),
                               .descriptor = ends.second.descriptor()});
        } catch (const FileError& error) {
          throw MediaError(error.what());
        }
      }()) {}

void MediaProcess::awaitReady() {
  if (isReady_) {
    return;
  }
  const auto fail = [&](std::string_view words) {
    process_.kill();
    return MediaError(fmt::format("start “{}”: {}", displayPath(options_.program), words));
  };
  try {
    ready_ = nextReply<MediaReady>(steady_clock::now() + options_.startTimeout);
    isReady_ = true;
  } catch (const Failure& failure) {
    throw fail(failure.kind == MediaFailure::answeredWrongly ? "it is of another version"
                                                             : failure.words);
  }
}

MediaProcess::Outcome MediaProcess::ask(const File& file, const MediaRequest& request,
                                        milliseconds timeout) {
  Outcome outcome;
  outcome.answer.pictures.resize(request.pictures.size());
  ++requests_;
  try {
    socket_.send(encodeMediaRequest(request), file.descriptor(), false);
  } catch (const std::system_error& error) {
    process_.kill();
    throw MediaError(
        fmt::format("ask “{}”: {}", displayPath(options_.program), error.code().message()));
  }
  try {
    readAnswer(request, outcome.answer, steady_clock::now() + timeout);
  } catch (const Failure& failure) {
    process_.kill();
    outcome.answer.failure = failure.kind;
    outcome.failure = failure.words;
  }
  return outcome;
}

void MediaProcess::readAnswer(const MediaRequest& request, MediaAnswer& answer,
                              steady_clock::time_point until) {
  if (request.wantsProperties) {
    auto facts = nextReply<MediaFacts>(until);
    const bool isVideo = request.kind == MediaKind::video;
    if (isVideo ? facts.still.has_value() : facts.video.has_value()) {
      throw Failure::wrongAnswer();
    }
    answer.still = std::move(facts.still);
    answer.video = std::move(facts.video);
  }
  for (std::size_t i = 0; i < request.pictures.size(); ++i) {
    answer.pictures[i] = nextPicture(request.pictures[i], until);
  }
}

std::optional<MediaPicture> MediaProcess::nextPicture(const PictureRequest& wanted,
                                                      steady_clock::time_point until) {
  auto [reply, descriptor] = nextReply(until);
  if (std::holds_alternative<MediaNoPicture>(reply) && descriptor.get() < 0) {
    return std::nullopt;
  }
  if (const auto* made = std::get_if<MediaPictureHash>(&reply);
      made != nullptr && wanted.asHash && descriptor.get() < 0) {
    return MediaPicture{.bytes = {}, .hash = made->hash};
  }
  const auto* head = wanted.asHash ? nullptr : std::get_if<MediaPictureHead>(&reply);
  if (head == nullptr || std::max(head->width, head->height) > wanted.maxPixels) {
    throw Failure::wrongAnswer();
  }
  const auto pixelBytes =
      static_cast<std::uint64_t>(head->width) * static_cast<std::uint64_t>(head->height) * 4;
  if (wanted.jpegQuality ? head->bytes > pixelBytes + kJpegOverhead : head->bytes != pixelBytes) {
    throw Failure::wrongAnswer();
  }
  try {
    return MediaPicture{head->width, head->height,
                        PixelBuffer(mapSealed(std::move(descriptor), head->bytes))};
  } catch (const FileError& error) {
    throw error.code() == ENOMEM ? Failure::memory() : Failure::wrongAnswer();
  }
}

/// A reply of one kind, which comes without a picture's bytes.
template <typename Reply>
Reply MediaProcess::nextReply(steady_clock::time_point until) {
  auto [reply, descriptor] = nextReply(until);
  auto* expected = std::get_if<Reply>(&reply);
  if (expected == nullptr || descriptor.get() >= 0) {
    throw Failure::wrongAnswer();
  }
  return std::move(*expected);
}

std::pair<MediaReply, Descriptor> MediaProcess::nextReply(steady_clock::time_point until) {
  Packet packet = receive(until);
  auto reply = parseMediaReply(packet.bytes);
  if (!reply) {
    throw Failure::wrongAnswer();
  }
  return {std::move(*reply), std::move(packet.descriptor)};
}

/// The next message; a failure when there is none, or the process is to be killed.
Packet MediaProcess::receive(steady_clock::time_point until) {
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now());
    if (left <= milliseconds::zero()) {
      throw Failure{MediaFailure::tookTooLong, "took too long"};
    }
    try {
      auto received = socket_.receive(kMaxMediaMessageBytes, std::min(left, kMemoryInterval));
      if (received.state == PacketSocket::State::packet) {
        return std::move(received.packet);
      }
      if (received.state == PacketSocket::State::closed) {
        throw endFailure();
      }
    } catch (const std::system_error& error) {
      if (error.code().value() == EMFILE) {
        process_.kill();
        throw MediaError(error.what());
      }
      throw Failure::wrongAnswer();
    }
    if (process_.residentBytes() > options_.maxResidentBytes) {
      throw Failure::memory();
    }
  }
}

/// Why the process has closed its socket.
MediaProcess::Failure MediaProcess::endFailure() {
  const auto end = process_.wait(kEndTimeout);
  if (!end) {
    return {MediaFailure::crashed, "decoder closed its connection"};
  }
  if (end->signal == 0 && end->status == kMediaExitMemory) {
    return Failure::memory();
  }
  if (end->signal == SIGBUS) {  // of a mapping that the file no longer fills
    return {MediaFailure::unreadable, "file went away while it was read"};
  }
  return {MediaFailure::crashed, end->signal != 0
                                     ? fmt::format("decoder crashed ({})", signalName(end->signal))
                                     : fmt::format("decoder ended (status {})", end->status)};
}

bool MediaProcess::end(milliseconds timeout) {
  process_.kill();
  return process_.wait(timeout).has_value();
}

}  // namespace vaultmere
