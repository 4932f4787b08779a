// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryServer.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "gallery/RequestHandler.h"
#include "gallery/http/ConnectionTable.h"
#include "gallery/http/DescriptorLimit.h"
#include "gallery/http/Listener.h"
#include "gallery/http/WorkQueues.h"

namespace vaultmere {
namespace {

/// Networks of this machine are looked up again after this time.
constexpr std::chrono::seconds kNetworksLifetime{10};

ConnectionTable::Limits limitsOf(const GalleryServer::Options& options) {
  ConnectionTable::Limits limits;
  limits.requests = options.requestBytes;
  limits.responses = options.responseBytes;
  limits.descriptors = options.descriptors > 0 ? options.descriptors : raiseDescriptorLimit();
  limits.stall = options.stall;
  limits.tick = std::min(limits.tick, options.stall);
  return limits;
}

/// Remembers what `networks` gave for a while. For one thread.
Listener::Networks remembered(const Listener::Networks& networks) {
  return [networks, known = std::vector<Network>(),
          at = std::optional<std::chrono::steady_clock::time_point>()]() mutable {
    const auto now = std::chrono::steady_clock::now();
    if (!at || now - *at >= kNetworksLifetime) {
      known = networks();
      at = now;
    }
    return known;
  };
}

}  // namespace

struct GalleryServer::Parts {
  Parts(std::shared_ptr<GalleryBackend> backend, const Options& options)
      : handler(
            std::make_shared<RequestHandler>(std::move(backend), queues, handlerOptions(options))),
        networks(remembered(options.networks)),
        table(*loop, queues, limitsOf(options),
              [this](const PendingRequest& pending) { handler->handle(pending); }) {}

  RequestHandler::Options handlerOptions(const Options& options) {
    RequestHandler::Options handlerOptions;
    handlerOptions.page = options.page;
    handlerOptions.hosts = options.hosts;
    handlerOptions.guessDelay = options.guessDelay;
    handlerOptions.after = [this](std::chrono::milliseconds delay, std::function<void()> task) {
      loop->after(delay, std::move(task));
    };
    return handlerOptions;
  }

  WorkQueues queues;
  const std::shared_ptr<IoLoop> loop = std::make_shared<IoLoop>();
  const std::shared_ptr<RequestHandler> handler;
  const Listener::Networks networks;  // on the loop's thread
  ConnectionTable table;              // on the loop's thread
  std::optional<Listener> listener;   // on the loop's thread
};

GalleryServer::GalleryServer(std::shared_ptr<GalleryBackend> backend, const Options& options)
    : parts_(std::make_unique<Parts>(std::move(backend), options)) {}

GalleryServer::~GalleryServer() {
  parts_->handler->shutDown();
  parts_->queues.shutDown();
  parts_->loop->perform([this] {
    parts_->listener.reset();
    parts_->table.endAll();
  });
  parts_->loop->stop();
}

void GalleryServer::start(int port, const std::string& password) {
  setPassword(password);
  stop();
  ListeningSockets sockets(port);
  const std::uint16_t bound = sockets.port();
  parts_->loop->perform([&] {
    parts_->listener.emplace(*parts_->loop, parts_->table, sockets.take(), parts_->networks);
  });
  port_ = bound;
}

void GalleryServer::stop() {
  parts_->loop->perform([this] { parts_->listener.reset(); });
  port_ = 0;
}

void GalleryServer::setPassword(const std::string& password) {
  parts_->handler->setPassword(password);
}

}  // namespace vaultmere
