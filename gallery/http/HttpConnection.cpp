// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/HttpConnection.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <utility>

namespace vaultmere {
namespace {

/// Files are sent in pieces of this many bytes.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

/// After so many reads or writes in a row other connections get their turn.
constexpr int kMaxSteps = 16;

/// How much of an unwanted body is read away, so that a client that sends all of
/// it before it reads gets to the response.
constexpr std::size_t kMaxBody = std::size_t{16} << 20;

/// What the system's buffers take of memory for each byte in them, at most.
constexpr std::size_t kBufferOverhead = 2;

/// Checks of a lingering connection with everything delivered before it ends:
/// its client may still be sending.
constexpr int kMaxIdleChecks = 2;

bool wouldWait() { return errno == EAGAIN; }

iovec partOf(const std::string& text, std::size_t offset) {
  offset = std::min(offset, text.size());
  return {const_cast<char*>(text.data()) + offset, text.size() - offset};
}

std::size_t bodySize(const HttpResponse& response) {
  return response.body == nullptr ? 0 : response.body->size();
}

/// Less than `size` at the file's end, nothing when it can't be read.
std::string pieceOf(const File& file, std::size_t size, std::uint64_t offset) {
  std::string piece(size, '\0');
  try {
    piece.resize(
        file.readAt(static_cast<std::int64_t>(offset), std::as_writable_bytes(std::span(piece))));
  } catch (const FileError&) {
    piece.clear();
  }
  return piece;
}

}  // namespace

HttpConnection::HttpConnection(IoLoop& loop, const WorkQueues& queues, Host& host, int descriptor,
                               const PeerAddress& client)
    : loop_(loop),
      queues_(queues),
      host_(host),
      client_(client),
      socket_(std::make_unique<Descriptor>(loop_, descriptor)) {}

void HttpConnection::end() {
  if (std::exchange(socket_, nullptr) != nullptr) {
    request_.reset();
    response_.reset();
    host_.ended(*this);
  }
}

void HttpConnection::abort() {
  if (socket_ != nullptr) {
    const linger reset{1, 0};
    ::setsockopt(socket_->number(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    end();
  }
}

std::optional<ssize_t> HttpConnection::receive(Step step) {
  const auto scratch = host_.scratch();
  const ssize_t count = ::recv(socket_->number(), scratch.data(), scratch.size(), 0);
  if (count < 0 && wouldWait()) {
    socket_->whenReadable(stepOf(step));
    return std::nullopt;
  }
  return count;
}

// MARK: The request

void HttpConnection::read() {
  const auto self = shared_from_this();
  for (int step = 0; socket_ != nullptr && step < kMaxSteps; ++step) {
    const auto count = receive(&HttpConnection::read);
    if (!count) {
      return;
    }
    if (*count <= 0) {
      return end();
    }
    switch (reader_.feed({host_.scratch().data(), static_cast<std::size_t>(*count)})) {
      case RequestHeadReader::Result::complete:
        return handle();
      case RequestHeadReader::Result::drop:
        return end();
      case RequestHeadReader::Result::needMore:
        host_.update(*this, {.request = reader_.held()});
    }
  }
  loop_.post(stepOf(&HttpConnection::read));
}

void HttpConnection::handle() {
  auto request = parseRequest(reader_.takeHead());
  if (!request) {
    return end();
  }
  // Room for the file that a response may need is asked for now.
  host_.update(*this, {.request = request->size(), .descriptors = 2, .isBusy = true});
  if (socket_ == nullptr) {
    return;
  }
  expectsBody_ = request->expectsBody;
  request_.reset(new OpenRequest{.request = *std::move(request), .client = client_});
  host_.handle(PendingRequest(
      request_, [weak = weak_from_this(), weakLoop = loop_.weak_from_this()](auto response) {
        if (const auto loop = weakLoop.lock()) {
          loop->dispatch([weak, response = std::move(response)]() mutable {
            if (const auto self = weak.lock()) {
              self->respond(std::move(response));
            }
          });
        }
      }));
  if (request_ != nullptr) {
    socket_->whenReadable(stepOf(&HttpConnection::watch));
  }
}

void HttpConnection::watch() {
  for (int step = 0; request_ != nullptr && step < kMaxSteps; ++step) {
    const auto count = receive(&HttpConnection::watch);
    if (!count) {
      return;
    }
    if (*count < 0) {
      return end();
    }
    if (*count == 0) {
      request_->isHalfClosed = true;
      return socket_->whenBroken(stepOf(&HttpConnection::end));
    }
    discarded_ += static_cast<std::size_t>(*count);
    if (discarded_ > kMaxBody) {
      return;
    }
  }
  if (request_ != nullptr) {
    loop_.post(stepOf(&HttpConnection::watch));
  }
}

// MARK: The response

void HttpConnection::respond(std::optional<HttpResponse> response) {
  if (socket_ == nullptr) {
    return;
  }
  if (!response) {
    return end();
  }
  request_.reset();
  response_ = std::move(response);
  if (takePiece()) {
    send();
  }
}

void HttpConnection::send() {
  const auto self = shared_from_this();
  waitsForClient_ = false;
  for (int step = 0; socket_ != nullptr && step < kMaxSteps; ++step) {
    if (!sendSome()) {
      return;
    }
    if (sent_ < response_->head.size() + bodySize(*response_)) {
      continue;
    }
    if (response_->file == nullptr || fileOffset_ == response_->fileSize) {
      return close();
    }
    response_->head.clear();
    sent_ = 0;
    if (!takePiece()) {
      return;
    }
  }
  loop_.post(stepOf(&HttpConnection::send));
}

bool HttpConnection::sendSome() {
  std::array parts{partOf(response_->head, sent_), iovec{}};
  if (response_->body != nullptr) {
    parts[1] = partOf(*response_->body, sent_ - std::min(sent_, response_->head.size()));
  }
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  const bool goesOn = response_->file != nullptr && fileOffset_ < response_->fileSize;
  const ssize_t count =
      ::sendmsg(socket_->number(), &message, MSG_NOSIGNAL | (goesOn ? MSG_MORE : 0));
  if (count >= 0) {
    sent_ += static_cast<std::size_t>(count);
    accepted_ += static_cast<std::uint64_t>(count);
    return true;
  }
  if (wouldWait()) {
    updateSending(false);
    if (socket_ != nullptr) {
      waitForClient();
      socket_->whenWritable(stepOf(&HttpConnection::send));
    }
  } else {
    end();
  }
  return false;
}

bool HttpConnection::takePiece() {
  if (response_->file == nullptr) {
    return true;
  }
  const auto size =
      static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, response_->fileSize - fileOffset_));
  std::string& buffer = response_->head;
  const std::size_t before = buffer.size();
  buffer.resize(before + size);
  // What lies in memory is taken at once; a disk isn't waited for here.
  const iovec target{buffer.data() + before, size};
  const ssize_t count = ::preadv2(response_->file->descriptor(), &target, 1,
                                  static_cast<off_t>(fileOffset_), RWF_NOWAIT);
  buffer.resize(before + (count > 0 ? static_cast<std::size_t>(count) : 0));
  if (count > 0 || size == 0) {
    fileOffset_ += buffer.size() - before;
    return true;
  }
  readPieceLater(size);
  return false;
}

void HttpConnection::readPieceLater(std::size_t size) {
  updateSending(true);
  if (socket_ == nullptr) {
    return;
  }
  progressAt_.reset();  // it's the disk that is waited for
  const auto respondLater = [weak = weak_from_this(),
                             weakLoop = loop_.weak_from_this()](std::string piece) {
    if (const auto loop = weakLoop.lock()) {
      loop->post([weak, piece = std::move(piece)] {
        const auto self = weak.lock();
        if (self != nullptr && self->socket_ != nullptr) {
          self->pieceRead(piece);
        }
      });
    }
  };
  const auto& queue = response_->isArchived ? queues_.archive : queues_.local;
  queue->submit(client_, [respondLater, weak = weak_from_this(), file = response_->file, size,
                          offset = fileOffset_](const AdmissionQueue::Permit&) {
    if (!weak.expired()) {
      respondLater(pieceOf(*file, size, offset));
    }
  });
}

void HttpConnection::pieceRead(const std::string& piece) {
  if (piece.empty()) {
    // The file has become shorter: what the head has told can't be kept.
    return end();
  }
  response_->head += piece;
  fileOffset_ += piece.size();
  send();
}

void HttpConnection::updateSending(bool isBusy) {
  const std::size_t files = response_->file == nullptr ? 0 : 1;
  host_.update(*this, {.response = response_->head.capacity() + bodySize(*response_) +
                                   kBufferOverhead * undelivered(),
                       .descriptors = 1 + files,
                       .isBusy = isBusy});
}

// MARK: Waiting for the client

void HttpConnection::waitForClient() {
  waitsForClient_ = true;
  host_.waitsForClient(*this);
}

std::size_t HttpConnection::undelivered() const {
  int queued = 0;
  return ::ioctl(socket_->number(), SIOCOUTQ, &queued) == 0 && queued > 0
             ? static_cast<std::size_t>(queued)
             : 0;
}

bool HttpConnection::checkProgress(Time now, std::chrono::milliseconds stall) {
  if (socket_ == nullptr || !waitsForClient_) {
    return false;
  }
  const std::size_t queued = undelivered();
  if (isLingering_) {
    idleChecks_ += queued == 0 ? 1 : 0;
    if (queued == 0 && (!expectsBody_ || idleChecks_ >= kMaxIdleChecks)) {
      end();
      return false;
    }
    host_.update(*this, {.response = kBufferOverhead * queued});
    if (socket_ == nullptr) {
      return false;
    }
  }
  const std::uint64_t delivered = accepted_ - queued;
  if (!progressAt_ || delivered != delivered_) {
    delivered_ = delivered;
    progressAt_ = now;
  }
  if (now - *progressAt_ >= stall) {
    abort();
    return false;
  }
  return true;
}

// MARK: Closing

void HttpConnection::close() {
  // Closing while bytes of the client are unread, or still to come, would take
  // the response away from it again. And what the system hasn't delivered would
  // go on taking memory without being counted.
  const bool hasMore = ::recv(socket_->number(), host_.scratch().data(), 1, MSG_PEEK) > 0;
  expectsBody_ = expectsBody_ || discarded_ > 0 || hasMore;
  if (expectsBody_ || undelivered() > 0) {
    beginLingeringClose();
  } else {
    end();
  }
}

void HttpConnection::beginLingeringClose() {
  ::shutdown(socket_->number(), SHUT_WR);
  response_.reset();
  discarded_ = 0;
  isLingering_ = true;
  host_.update(*this, {.response = kBufferOverhead * undelivered()});
  if (socket_ != nullptr) {
    waitForClient();
    readRest();
  }
}

void HttpConnection::readRest() {
  const auto self = shared_from_this();
  for (int step = 0; socket_ != nullptr && step < kMaxSteps; ++step) {
    const auto count = receive(&HttpConnection::readRest);
    if (!count) {
      return;
    }
    if (*count == 0 && undelivered() > 0) {
      // The client sends no more, and still has to take the rest.
      return socket_->whenBroken(stepOf(&HttpConnection::end));
    }
    discarded_ += static_cast<std::size_t>(std::max<ssize_t>(*count, 0));
    if (*count <= 0 || discarded_ > kMaxBody) {
      return end();
    }
  }
  loop_.post(stepOf(&HttpConnection::readRest));
}

IoLoop::Task HttpConnection::stepOf(Step step) {
  return [self = shared_from_this(), step] {
    if (self->socket_ != nullptr) {
      (self.get()->*step)();
    }
  };
}

}  // namespace vaultmere
