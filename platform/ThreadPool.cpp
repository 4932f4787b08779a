// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ThreadPool.h"

#include <sched.h>

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace vaultmere {

unsigned activeProcessors() {
  cpu_set_t set;
  CPU_ZERO(&set);
  if (sched_getaffinity(0, sizeof set, &set) == 0) {
    return static_cast<unsigned>(std::max(1, CPU_COUNT(&set)));
  }
  return std::max(1U, std::thread::hardware_concurrency());
}

struct ThreadPool::Threads {
  explicit Threads(unsigned count) : pool(count) {}

  std::mutex mutex;  // guards the next two
  std::size_t unfinished = 0;
  std::condition_variable idle;
  asio::thread_pool pool;
};

ThreadPool::ThreadPool(unsigned threads) : threads_(std::make_unique<Threads>(threads)) {}

ThreadPool::~ThreadPool() { join(); }

void ThreadPool::post(std::function<void()> task) {
  {
    const std::lock_guard lock(threads_->mutex);
    ++threads_->unfinished;
  }
  asio::post(threads_->pool, [&threads = *threads_, task = std::move(task)]() mutable {
    task();
    task = nullptr;  // what it holds may post when it goes
    const std::lock_guard lock(threads.mutex);
    if (--threads.unfinished == 0) {
      threads.idle.notify_all();
    }
  });
}

void ThreadPool::waitUntilIdle() {
  std::unique_lock lock(threads_->mutex);
  threads_->idle.wait(lock, [&] { return threads_->unfinished == 0; });
}

bool ThreadPool::waitUntilIdle(std::chrono::milliseconds timeout) {
  std::unique_lock lock(threads_->mutex);
  return threads_->idle.wait_for(lock, timeout, [&] { return threads_->unfinished == 0; });
}

void ThreadPool::join() { threads_->pool.join(); }

}  // namespace vaultmere
