// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/IoLoop.h"

#include <pthread.h>

#include <asio/dispatch.hpp>
#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/post.hpp>
#include <asio/steady_timer.hpp>
#include <future>
#include <thread>
#include <utility>

namespace vaultmere {
namespace {

/// With the loop's own type of executor: the general one costs an allocation.
using StreamDescriptor = asio::posix::basic_stream_descriptor<asio::io_context::executor_type>;

void waitFor(StreamDescriptor& descriptor, StreamDescriptor::wait_type what, IoLoop::Task task) {
  descriptor.async_wait(what, [task = std::move(task)](const asio::error_code& error) {
    if (error != asio::error::operation_aborted) {
      task();  // what else may be wrong, the next read or write tells
    }
  });
}

}  // namespace

struct IoLoop::Impl {
  asio::io_context context{1};  // one thread runs it
  asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
  std::thread thread;
};

IoLoop::IoLoop() : impl_(std::make_unique<Impl>()) {
  impl_->thread = std::thread([impl = impl_.get()] {
    pthread_setname_np(pthread_self(), "gallery");
    impl->context.run();
  });
}

IoLoop::~IoLoop() { stop(); }

void IoLoop::post(Task task) { asio::post(impl_->context, std::move(task)); }

void IoLoop::dispatch(Task task) { asio::dispatch(impl_->context, std::move(task)); }

void IoLoop::perform(const Task& task) {
  std::packaged_task<void()> packaged(task);
  auto done = packaged.get_future();
  asio::post(impl_->context, [&packaged] { packaged(); });
  done.get();
}

void IoLoop::after(std::chrono::steady_clock::duration delay, Task task) {
  auto timer = std::make_shared<asio::steady_timer>(impl_->context, delay);
  timer->async_wait([timer, task = std::move(task)](const asio::error_code& error) {
    if (!error) {
      task();
    }
  });
}

void IoLoop::stop() {
  impl_->context.stop();
  if (impl_->thread.joinable()) {
    impl_->thread.join();
  }
}

struct Descriptor::Impl {
  Impl(asio::io_context& context, int number) : descriptor(context, number) {}
  StreamDescriptor descriptor;
};

Descriptor::Descriptor(IoLoop& loop, int number)
    : impl_(std::make_unique<Impl>(loop.impl_->context, number)) {}

Descriptor::~Descriptor() = default;

int Descriptor::number() const noexcept { return impl_->descriptor.native_handle(); }

void Descriptor::whenReadable(IoLoop::Task task) {
  waitFor(impl_->descriptor, StreamDescriptor::wait_read, std::move(task));
}

void Descriptor::whenWritable(IoLoop::Task task) {
  waitFor(impl_->descriptor, StreamDescriptor::wait_write, std::move(task));
}

void Descriptor::whenBroken(IoLoop::Task task) {
  waitFor(impl_->descriptor, StreamDescriptor::wait_error, std::move(task));
}

}  // namespace vaultmere
