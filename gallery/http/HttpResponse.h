// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "gallery/http/HttpRequest.h"
#include "gallery/http/PeerAddress.h"
#include "platform/Files.h"

namespace vaultmere {

/// What goes back to a client: a head, and behind it bytes or a file.
struct HttpResponse {
  std::string head{};                         ///< with its blank line; or a whole short response
  std::shared_ptr<const std::string> body{};  ///< null for none
  std::shared_ptr<File> file{};               ///< null for none
  std::uint64_t fileSize = 0;                 ///< as told in the head
  bool isArchived = false;                    ///< the file lies on the archive's drive
};

/// A request while its connection is open.
struct OpenRequest {
  HttpRequest request;
  PeerAddress client;  ///< as PeerAddress::client
  /// The client sends no more. It may still read, or have closed: only sending
  /// would tell.
  std::atomic<bool> isHalfClosed = false;
};

/// A request that waits for its response. Any thread; copies stand for the same
/// one. The request's memory belongs to its connection, and goes with it, so
/// that requests of disconnected clients take none while they are queued.
class PendingRequest {
 public:
  using Send = std::function<void(std::optional<HttpResponse>)>;
  enum class State { connected, halfClosed, disconnected };

  PendingRequest(const std::shared_ptr<const OpenRequest>& request, Send send)
      : open_(request), client_(request->client), send_(std::move(send)) {}

  /// Null once the client has disconnected: a response is of no use any more.
  [[nodiscard]] std::shared_ptr<const HttpRequest> request() const {
    const auto open = open_.lock();
    return open == nullptr ? nullptr : std::shared_ptr<const HttpRequest>(open, &open->request);
  }
  [[nodiscard]] State state() const {
    const auto open = open_.lock();
    if (open == nullptr) {
      return State::disconnected;
    }
    return open->isHalfClosed ? State::halfClosed : State::connected;
  }
  [[nodiscard]] const PeerAddress& client() const noexcept { return client_; }

  /// Sends the response, or with none drops the connection. Once.
  void respond(std::optional<HttpResponse> response) const { send_(std::move(response)); }

 private:
  std::weak_ptr<const OpenRequest> open_;
  PeerAddress client_;
  Send send_;
};

}  // namespace vaultmere
