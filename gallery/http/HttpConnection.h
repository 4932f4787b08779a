// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "gallery/http/HttpResponse.h"
#include "gallery/http/IoLoop.h"
#include "gallery/http/RequestHeadReader.h"
#include "platform/AsyncSemaphore.h"

namespace vaultmere {

/// One client: reads a request's head, has it answered, sends the answer, and
/// closes. It has no patience of its own: a silent client stays until its host
/// needs the room. On the loop's thread; the host holds it in a shared_ptr.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  /// What a connection takes at the moment.
  struct Holding {
    std::size_t head = 0;    ///< bytes of a head
    std::size_t answer = 0;  ///< bytes that wait to be sent
    std::size_t descriptors = 1;
    bool isBusy = false;  ///< the client waits for us, not we for it
  };

  /// The server, as a connection sees it. Outlives the connections' last step.
  class Host {
   public:
    virtual ~Host() = default;
    /// Has the request answered. The reply may come at once.
    virtual void handle(const PendingRequest& reply) = 0;
    /// Bytes have gone in or out, and this is what the connection takes now.
    /// May end any connection, this one too.
    virtual void update(HttpConnection& connection, const Holding& holding) = 0;
    /// All has been sent; the connection shall be ended if it doesn't end by
    /// itself in a while.
    virtual void lingers(HttpConnection& connection) = 0;
    /// The connection is closed; forgets it.
    virtual void ended(HttpConnection& connection) = 0;
    /// A place to receive into, shared by all connections.
    virtual std::span<char> scratch() = 0;
  };

  /// Takes over a non-blocking socket. `slowReads` has the permits to read from
  /// files that aren't in memory.
  HttpConnection(IoLoop& loop, std::shared_ptr<AsyncSemaphore> slowReads, Host& host,
                 int descriptor);

  void start() { read(); }
  /// Closes at once, whatever has been reached.
  void end();

 private:
  void read();
  void handle();
  /// Looks after a client that waits: reads away what it still sends, and ends
  /// this once it has left.
  void watch();
  void probe();
  void answer(std::optional<HttpResponse> answer);
  void send();
  /// Moves what comes next of the file behind what is to be sent. False when
  /// that takes its time, or fails.
  bool takePiece();
  void readLater(std::size_t size);
  void pieceCame(const std::string& piece);
  /// False when the socket takes no more for now, or is broken.
  bool sendSome();
  void close();
  void drain();
  void readRest();
  void update(bool isBusy);

  /// The step as a task, which does nothing once this has ended.
  [[nodiscard]] IoLoop::Task stepOf(void (HttpConnection::*step)());

  IoLoop& loop_;
  const std::shared_ptr<AsyncSemaphore> slowReads_;
  Host& host_;
  std::unique_ptr<Descriptor> socket_;  // null: ended
  RequestHeadReader parser_;
  std::shared_ptr<const std::string> head_;  // while its answer is being made
  bool expectsBody_ = false;
  std::optional<HttpResponse> answer_;
  std::size_t sent_ = 0;          // of the answer's head and body
  std::uint64_t fileOffset_ = 0;  // what has been read of its file
  std::size_t drained_ = 0;       // bytes behind the head
};

}  // namespace vaultmere
