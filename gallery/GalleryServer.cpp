// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryServer.h"

#include <optional>
#include <utility>

#include "gallery/RequestHandler.h"
#include "gallery/http/ConnectionTable.h"
#include "gallery/http/DescriptorLimit.h"
#include "gallery/http/Listener.h"

namespace vaultmere {
namespace {

ConnectionTable::Limits limitsOf(const GalleryServer::Options& options) {
  ConnectionTable::Limits limits;
  limits.heads = options.headBytes;
  limits.answers = options.answerBytes;
  limits.descriptors = options.descriptors > 0 ? options.descriptors : raiseDescriptorLimit();
  return limits;
}

}  // namespace

struct GalleryServer::Parts {
  Parts(std::shared_ptr<GalleryBackend> content, ThreadPool& pool, const Options& options)
      : handler(std::make_shared<RequestHandler>(std::move(content), options.page, pool,
                                                 &std::chrono::steady_clock::now)),
        table(*loop, pool, limitsOf(options),
              [this](const PendingRequest& reply) { handler->handle(reply); }) {}

  const std::shared_ptr<IoLoop> loop = std::make_shared<IoLoop>();
  const std::shared_ptr<RequestHandler> handler;
  ConnectionTable table;             // on the loop's thread
  std::optional<Listener> listener;  // on the loop's thread
};

GalleryServer::GalleryServer(std::shared_ptr<GalleryBackend> content, ThreadPool& pool,
                             const Options& options)
    : parts_(std::make_unique<Parts>(std::move(content), pool, options)) {}

GalleryServer::~GalleryServer() {
  parts_->handler->shutDown();
  parts_->loop->perform([this] {
    parts_->listener.reset();
    parts_->table.endAll();
  });
  parts_->loop->stop();
}

void GalleryServer::start(int port, std::string password) {
  setPassword(std::move(password));
  stop();
  ListeningSockets sockets(port);
  const std::uint16_t bound = sockets.port();
  parts_->loop->perform(
      [&] { parts_->listener.emplace(*parts_->loop, parts_->table, sockets.take()); });
  port_ = bound;
}

void GalleryServer::stop() {
  parts_->loop->perform([this] { parts_->listener.reset(); });
  port_ = 0;
}

void GalleryServer::setPassword(std::string password) {
  parts_->handler->setPassword(std::move(password));
}

}  // namespace vaultmere
