// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/HttpConnection.h"

#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "gallery/http/HttpRequest.h"
#include "gallery/http/ResponseHead.h"

namespace vaultmere {
namespace {

/// Files go out in pieces of this many bytes.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

/// After so many reads or writes in a row others get their turn.
constexpr int kStepsInATurn = 16;

/// How much of an unwanted body is read away, so that the client, which may
/// send all of it before it listens, gets to the answer.
constexpr std::size_t kMaxRest = std::size_t{16} << 20;

bool wouldWait() { return errno == EAGAIN; }

iovec partOf(const std::string& text, std::size_t offset) {
  offset = std::min(offset, text.size());
  return {const_cast<char*>(text.data()) + offset, text.size() - offset};
}

std::size_t bodySize(const HttpResponse& answer) {
  return answer.body == nullptr ? 0 : answer.body->size();
}

/// Reads at an offset; less than `size` at the file's end, or when it fails.
std::string readAt(const File& file, std::size_t size, std::uint64_t offset) {
  std::string piece(size, '\0');
  std::size_t filled = 0;
  while (filled < size) {
    const ssize_t count = ::pread(file.descriptor(), piece.data() + filled, size - filled,
                                  static_cast<off_t>(offset + filled));
    if (count <= 0 && !(count < 0 && errno == EINTR)) {
      break;
    }
    filled += count > 0 ? static_cast<std::size_t>(count) : 0;
  }
  piece.resize(filled);
  return piece;
}

}  // namespace

HttpConnection::HttpConnection(IoLoop& loop, std::shared_ptr<AsyncSemaphore> slowReads, Host& host,
                               int descriptor)
    : loop_(loop),
      slowReads_(std::move(slowReads)),
      host_(host),
      socket_(std::make_unique<Descriptor>(loop_, descriptor)) {}

void HttpConnection::end() {
  if (std::exchange(socket_, nullptr) != nullptr) {
    head_.reset();
    answer_.reset();
    host_.ended(*this);
  }
}

// MARK: The request

void HttpConnection::read() {
  const auto self = shared_from_this();
  for (int step = 0; socket_ != nullptr && step < kStepsInATurn; ++step) {
    const auto scratch = host_.scratch();
    const ssize_t count = ::recv(socket_->number(), scratch.data(), scratch.size(), 0);
    if (count < 0 && wouldWait()) {
      return socket_->whenReadable(stepOf(&HttpConnection::read));
    }
    if (count <= 0) {
      return end();
    }
    switch (parser_.feed({scratch.data(), static_cast<std::size_t>(count)})) {
      case RequestHeadReader::Result::complete:
        return handle();
      case RequestHeadReader::Result::drop:
        return end();
      case RequestHeadReader::Result::needMore:
        host_.update(*this, {.head = parser_.held()});
    }
  }
  loop_.post(stepOf(&HttpConnection::read));
}

void HttpConnection::handle() {
  // Room for the file that an answer may need is asked for now.
  host_.update(*this, {.head = parser_.held(), .descriptors = 2, .isBusy = true});
  if (socket_ == nullptr) {
    return;
  }
  head_ = std::make_shared<const std::string>(parser_.takeHead());
  expectsBody_ = announcesBody(*head_);
  host_.handle(PendingRequest(
      head_, [weak = weak_from_this(), loop = loop_.shared_from_this()](auto answer) {
        loop->dispatch([weak, answer = std::move(answer)]() mutable {
          if (const auto self = weak.lock()) {
            self->answer(std::move(answer));
          }
        });
      }));
  if (head_ != nullptr) {
    socket_->whenReadable(stepOf(&HttpConnection::watch));
  }
}

void HttpConnection::watch() {
  for (int step = 0; head_ != nullptr && step < kStepsInATurn; ++step) {
    const auto scratch = host_.scratch();
    const ssize_t count = ::recv(socket_->number(), scratch.data(), scratch.size(), 0);
    if (count < 0 && wouldWait()) {
      return socket_->whenReadable(stepOf(&HttpConnection::watch));
    }
    if (count == 0) {
      return probe();
    }
    if (count < 0) {
      return end();
    }
    drained_ += static_cast<std::size_t>(count);
    if (drained_ > kMaxRest) {
      return;
    }
  }
  if (head_ != nullptr) {
    loop_.post(stepOf(&HttpConnection::watch));
  }
}

void HttpConnection::probe() {
  // The client sends no more. It may still listen, or have closed: a browser
  // does when its page is left. Only bytes that it refuses tell.
  const ssize_t count =
      ::send(socket_->number(), kAnswerStart.data(), kAnswerStart.size(), MSG_NOSIGNAL);
  if (count < 0) {
    return end();
  }
  sent_ = static_cast<std::size_t>(count);
  socket_->whenBroken(stepOf(&HttpConnection::end));
}

// MARK: The answer

void HttpConnection::answer(std::optional<HttpResponse> answer) {
  if (socket_ == nullptr) {
    return;
  }
  if (!answer) {
    return end();
  }
  head_.reset();
  answer_ = std::move(answer);
  if (takePiece()) {
    send();
  }
}

void HttpConnection::send() {
  const auto self = shared_from_this();
  for (int step = 0; socket_ != nullptr && step < kStepsInATurn; ++step) {
    if (!sendSome()) {
      return;
    }
    if (sent_ < answer_->head.size() + bodySize(*answer_)) {
      continue;
    }
    if (answer_->file == nullptr || fileOffset_ == answer_->fileSize) {
      return close();
    }
    answer_->head.clear();
    sent_ = 0;
    if (!takePiece()) {
      return;
    }
  }
  loop_.post(stepOf(&HttpConnection::send));
}

bool HttpConnection::sendSome() {
  std::array parts{partOf(answer_->head, sent_), iovec{}};
  if (answer_->body != nullptr) {
    parts[1] = partOf(*answer_->body, sent_ - std::min(sent_, answer_->head.size()));
  }
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  const bool goesOn = answer_->file != nullptr && fileOffset_ < answer_->fileSize;
  const ssize_t count =
      ::sendmsg(socket_->number(), &message, MSG_NOSIGNAL | (goesOn ? MSG_MORE : 0));
  if (count >= 0) {
    sent_ += static_cast<std::size_t>(count);
    return true;
  }
  if (wouldWait()) {
    update(false);
    if (socket_ != nullptr) {
      socket_->whenWritable(stepOf(&HttpConnection::send));
    }
  } else {
    end();
  }
  return false;
}

bool HttpConnection::takePiece() {
  if (answer_->file == nullptr) {
    return true;
  }
  const auto size =
      static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, answer_->fileSize - fileOffset_));
  std::string& buffer = answer_->head;
  const std::size_t before = buffer.size();
  buffer.resize(before + size);
  // What lies in memory is taken at once; a disk isn't waited for here.
  const iovec target{buffer.data() + before, size};
  const ssize_t count = ::preadv2(answer_->file->descriptor(), &target, 1,
                                  static_cast<off_t>(fileOffset_), RWF_NOWAIT);
  buffer.resize(before + (count > 0 ? static_cast<std::size_t>(count) : 0));
  if (count > 0 || size == 0) {
    fileOffset_ += buffer.size() - before;
    return true;
  }
  readLater(size);
  return false;
}

void HttpConnection::readLater(std::size_t size) {
  update(true);
  if (socket_ == nullptr) {
    return;
  }
  slowReads_->wait([permits = slowReads_, weak = weak_from_this(), loop = loop_.shared_from_this(),
                    file = answer_->file, size, offset = fileOffset_] {
    auto piece = weak.expired() ? std::string() : readAt(*file, size, offset);
    permits->signal();
    loop->post([weak, piece = std::move(piece)] {
      const auto self = weak.lock();
      if (self != nullptr && self->socket_ != nullptr) {
        self->pieceCame(piece);
      }
    });
  });
}

void HttpConnection::pieceCame(const std::string& piece) {
  if (piece.empty()) {
    // The file has become shorter: what the head has told can't be kept.
    return end();
  }
  answer_->head += piece;
  fileOffset_ += piece.size();
  send();
}

// MARK: The end

void HttpConnection::close() {
  // Closing while bytes of the client are unread, or still to come, would take
  // the answer away from it again. Who has sent some behind the head may go on.
  const bool hasMore = ::recv(socket_->number(), host_.scratch().data(), 1, MSG_PEEK) > 0;
  if (expectsBody_ || drained_ > 0 || hasMore) {
    drain();
  } else {
    end();
  }
}

void HttpConnection::drain() {
  ::shutdown(socket_->number(), SHUT_WR);
  answer_.reset();
  drained_ = 0;
  host_.update(*this, {});
  if (socket_ != nullptr) {
    host_.lingers(*this);
    readRest();
  }
}

void HttpConnection::readRest() {
  const auto self = shared_from_this();
  for (int step = 0; socket_ != nullptr && step < kStepsInATurn; ++step) {
    const auto scratch = host_.scratch();
    const ssize_t count = ::recv(socket_->number(), scratch.data(), scratch.size(), 0);
    if (count < 0 && wouldWait()) {
      return socket_->whenReadable(stepOf(&HttpConnection::readRest));
    }
    drained_ += count > 0 ? static_cast<std::size_t>(count) : 0;
    if (count <= 0 || drained_ > kMaxRest) {
      return end();
    }
  }
  loop_.post(stepOf(&HttpConnection::readRest));
}

void HttpConnection::update(bool isBusy) {
  const std::size_t files = answer_->file == nullptr ? 0 : 1;
  host_.update(*this, {.answer = answer_->head.capacity() + bodySize(*answer_),
                       .descriptors = 1 + files,
                       .isBusy = isBusy});
}

IoLoop::Task HttpConnection::stepOf(void (HttpConnection::*step)()) {
  return [self = shared_from_this(), step] {
    if (self->socket_ != nullptr) {
      (self.get()->*step)();
    }
  };
}

}  // namespace vaultmere
