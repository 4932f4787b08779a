// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "gallery/http/HttpResponse.h"
#include "gallery/http/IoLoop.h"
#include "gallery/http/RequestHeadReader.h"
#include "gallery/http/WorkQueues.h"

namespace vaultmere {

/// One client: reads a request's head, gets its response, sends that, and
/// closes. It has no timeout of its own: its host ends it when the room is
/// needed, and asks it regularly whether the client takes its response. On the
/// loop's thread; the host holds it in a shared_ptr.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// What a connection takes at the moment.
  struct Holding {
    std::size_t request = 0;   ///< bytes of a head, or of a request
    std::size_t response = 0;  ///< bytes that wait to be sent, the system's included
    std::size_t descriptors = 1;
    bool isBusy = false;  ///< the client waits for us, not we for it
  };

  /// The server, as a connection sees it. Outlives the connections' last step.
  class Host {
   public:
    virtual ~Host() = default;
    /// Makes the response to a request, which may come at once.
    virtual void handle(const PendingRequest& pending) = 0;
    /// Bytes have gone in or out, and this is what the connection takes now.
    /// May end any connection, this one too.
    virtual void update(HttpConnection& connection, const Holding& holding) = 0;
    /// The connection waits for its client to take bytes: from now on
    /// `checkProgress` shall be called about once a second.
    virtual void waitsForClient(HttpConnection& connection) = 0;
    /// The connection is closed; forgets it.
    virtual void ended(HttpConnection& connection) = 0;
    /// A place to receive into, shared by all connections.
    virtual std::span<char> scratch() = 0;
  };

  /// Takes over a non-blocking socket. `queues` outlives the loop's thread.
  HttpConnection(IoLoop& loop, const WorkQueues& queues, Host& host, int descriptor,
                 const PeerAddress& client);

  void start() { read(); }
  /// Closes at once, whatever has been reached. The system still delivers what
  /// it has taken over.
  void end();
  /// The same, and has the system drop what it has taken over, so that its
  /// memory is free.
  void abort();

  /// Ends the connection when everything has been delivered, and aborts it when
  /// the client has taken nothing for `stall`. False when the connection doesn't
  /// wait for its client any more.
  [[nodiscard]] bool checkProgress(Time now, std::chrono::milliseconds stall);

 private:
  // Reading the request.
  void read();
  void handle();
  /// Waits for what the client does before it has its response: reads away what
  /// it sends.
  void watch();

  // Sending the response.
  void respond(std::optional<HttpResponse> response);
  void send();
  /// Moves what comes next of the file behind what is to be sent. False when
  /// that takes its time, or fails.
  bool takePiece();
  void readPieceLater(std::size_t size);
  void pieceRead(const std::string& piece);
  /// False when the socket takes no more for now, or is broken.
  bool sendSome();
  void waitForClient();
  void updateSending(bool isBusy);

  // Closing.
  void close();
  void beginLingeringClose();
  void readRest();
  /// Bytes that the system has taken over, and the client hasn't.
  [[nodiscard]] std::size_t undelivered() const;

  using Step = void (HttpConnection::*)();
  /// Reads into the host's scratch memory; gives the count as `recv` does. Absent
  /// when nothing has come: `step` then runs once something has.
  [[nodiscard]] std::optional<ssize_t> receive(Step step);
  /// The step as a task, which does nothing once this has ended.
  [[nodiscard]] IoLoop::Task stepOf(Step step);

  IoLoop& loop_;
  const WorkQueues& queues_;
  Host& host_;
  const PeerAddress client_;
  std::unique_ptr<Descriptor> socket_;  // null: ended
  RequestHeadReader reader_;
  std::shared_ptr<OpenRequest> request_;  // while it is being answered
  bool expectsBody_ = false;
  std::optional<HttpResponse> response_;
  std::size_t sent_ = 0;          // of the response's head and body
  std::uint64_t fileOffset_ = 0;  // what has been read of its file
  std::size_t discarded_ = 0;     // bytes received behind the head

  // While waiting for the client.
  bool waitsForClient_ = false;
  bool isLingering_ = false;
  int idleChecks_ = 0;           // of a lingering connection, with nothing left to deliver
  std::uint64_t accepted_ = 0;   // bytes that the system has taken over
  std::uint64_t delivered_ = 0;  // of them, at the last progress
  std::optional<Time> progressAt_;
};

}  // namespace vaultmere
