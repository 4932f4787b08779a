// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "media/MediaMessages.h"
#include "platform/ChildProcess.h"
#include "platform/Files.h"
#include "platform/PacketSocket.h"

namespace vaultmere {

/// There is no media process, and the text says why: "start “…/vaultmere-media”:
/// No such file or directory".
class MediaError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Tells the program that its work isn't urgent.
inline constexpr const char* kBackgroundArgument = "--background";

/// One process that reads media files, and this program's side of its socket.
/// Nothing that it sends is believed before it has been checked. One thread at a
/// time.
class MediaProcess {
 public:
  struct Options {
    std::filesystem::path program;
    std::vector<std::string> arguments{};
    std::chrono::milliseconds startTimeout{10'000};
    /// Memory in use, shared pages and pictures on their way included: a decode
    /// and its result of 1 GiB each, and half of one for the libraries.
    std::size_t maxResidentBytes = std::size_t{2560} << 20;
  };

  /// How a request went, and with what words for the log it failed.
  struct Outcome {
    MediaAnswer answer;
    std::string failure{};  ///< "decoder crashed (SIGSEGV)"; empty unless it failed
  };

  /// Starts one; it is ready some time later. Throws MediaError. When the thread
  /// that calls this ends, the process is killed.
  explicit MediaProcess(Options options);

  /// Waits until it is ready, the first time. Throws MediaError.
  void awaitReady();
  [[nodiscard]] const MediaReady& ready() const { return ready_; }

  /// Reads `file`, whose descriptor the process gets, in at most `timeout`. After
  /// a failure the process is of no more use, and has been killed. Likewise when
  /// this throws MediaError, which says nothing about the file: the process had
  /// ended before it was asked, or this program has too many open files.
  [[nodiscard]] Outcome ask(const File& file, const MediaRequest& request,
                            std::chrono::milliseconds timeout);

  /// Whether it can be asked: it lives, and has sent no more than it was asked for.
  [[nodiscard]] bool isUsable() const { return socket_.isQuiet() || !isReady_; }
  [[nodiscard]] std::size_t requests() const { return requests_; }  ///< so far
  [[nodiscard]] std::size_t residentBytes() const { return process_.residentBytes(); }
  /// Kills it, and waits at most so long for its end; true when it is over.
  [[nodiscard]] bool end(std::chrono::milliseconds timeout);

 private:
  struct Failure;
  MediaProcess(Options options, std::pair<PacketSocket, PacketSocket> ends);
  void readAnswer(const MediaRequest& request, MediaAnswer& answer,
                  std::chrono::steady_clock::time_point until);
  [[nodiscard]] std::optional<MediaPicture> nextPicture(
      const PictureRequest& wanted, std::chrono::steady_clock::time_point until);
  template <typename Reply>
  [[nodiscard]] Reply nextReply(std::chrono::steady_clock::time_point until);
  [[nodiscard]] std::pair<MediaReply, Descriptor> nextReply(
      std::chrono::steady_clock::time_point until);
  [[nodiscard]] Packet receive(std::chrono::steady_clock::time_point until);
  [[nodiscard]] Failure endFailure();

  const Options options_;
  PacketSocket socket_;
  ChildProcess process_;
  bool isReady_ = false;
  MediaReady ready_;
  std::size_t requests_ = 0;
};

}  // namespace vaultmere
