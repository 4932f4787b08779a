// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/Files.h"

namespace vaultmere {

/// What goes back to a client: a head, and behind it bytes or a file. The head
/// begins with `kAnswerStart`, which may have gone out already.
struct HttpResponse {
  std::string head;                         ///< with its blank line; or a whole short answer
  std::shared_ptr<const std::string> body;  ///< null for none
  std::shared_ptr<File> file;               ///< null for none
  std::uint64_t fileSize = 0;               ///< as told in the head
};

/// A request, and the way back to its client. Any thread; copies stand for the
/// same one. The request's memory stays its connection's, and goes with it, so
/// that those who have left don't burden the lines in which requests wait.
class PendingRequest {
 public:
  using Send = std::function<void(std::optional<HttpResponse>)>;
  PendingRequest(std::weak_ptr<const std::string> head, Send send)
      : head_(std::move(head)), send_(std::move(send)) {}

  /// Null once the client has left: nobody waits for the answer any more.
  [[nodiscard]] std::shared_ptr<const std::string> head() const { return head_.lock(); }

  /// Sends the answer, or with none drops the connection. Once.
  void operator()(std::optional<HttpResponse> answer) const { send_(std::move(answer)); }

 private:
  std::weak_ptr<const std::string> head_;
  Send send_;
};

}  // namespace vaultmere
