// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AsioMainThread.h"

#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <list>

namespace vaultmere {

struct AsioMainThread::Loop {
  asio::io_context context{1};
  asio::executor_work_guard<asio::io_context::executor_type> work = asio::make_work_guard(context);
  std::list<asio::signal_set> signals;
};

namespace {

using AsioTimer = asio::basic_waitable_timer<std::chrono::steady_clock>;

/// A timer and what it does; its owner is the `Timer` handle.
struct Alarm : std::enable_shared_from_this<Alarm> {
  Alarm(std::shared_ptr<void> theLoop, asio::io_context& context, Duration theInterval,
        MainThread::Task theTask)
      : loop(std::move(theLoop)), timer(context), interval(theInterval), task(std::move(theTask)) {}

  void arm(Duration delay) {
    timer.expires_after(std::chrono::duration_cast<std::chrono::steady_clock::duration>(delay));
    timer.async_wait([weak = weak_from_this()](const asio::error_code& error) {
      const auto self = weak.lock();
      if (!self || error) {
        return;
      }
      if (self->interval > Duration::zero()) {
        self->arm(self->interval);
      }
      self->task();
    });
  }

  std::shared_ptr<void> loop;  // outlived by nothing that a timer needs
  AsioTimer timer;
  Duration interval;
  MainThread::Task task;
};

Timer startAlarm(std::shared_ptr<void> loop, asio::io_context& context, Duration delay,
                 Duration interval, MainThread::Task task) {
  auto alarm = std::make_shared<Alarm>(std::move(loop), context, interval, std::move(task));
  alarm->arm(delay);
  return Timer(std::move(alarm));
}

void waitForSignal(asio::signal_set& set, const MainThread::Task& task) {
  set.async_wait([&set, task](const asio::error_code& error, int) {
    if (!error) {
      waitForSignal(set, task);
      task();
    }
  });
}

}  // namespace

AsioMainThread::AsioMainThread() : loop_(std::make_shared<Loop>()) {}

AsioMainThread::~AsioMainThread() = default;

void AsioMainThread::post(Task task) { asio::post(loop_->context, std::move(task)); }

Timer AsioMainThread::after(Duration delay, Task task) {
  return startAlarm(loop_, loop_->context, delay, Duration::zero(), std::move(task));
}

Timer AsioMainThread::every(Duration interval, Task task) {
  return startAlarm(loop_, loop_->context, interval, interval, std::move(task));
}

TimePoint AsioMainThread::now() const { return std::chrono::system_clock::now(); }

void AsioMainThread::onSignals(std::initializer_list<int> numbers, const Task& task) {
  asio::signal_set& set = loop_->signals.emplace_back(loop_->context);
  for (const int number : numbers) {
    set.add(number);
  }
  waitForSignal(set, task);
}

void AsioMainThread::run() { loop_->context.run(); }

void AsioMainThread::stop() { loop_->context.stop(); }

}  // namespace vaultmere
