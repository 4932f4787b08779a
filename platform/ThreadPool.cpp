// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/ThreadPool.h"

#include <sched.h>

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
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
  asio::thread_pool pool;
};

ThreadPool::ThreadPool(unsigned threads) : threads_(std::make_unique<Threads>(threads)) {}

ThreadPool::~ThreadPool() { join(); }

void ThreadPool::post(std::function<void()> task) { asio::post(threads_->pool, std::move(task)); }

void ThreadPool::join() { threads_->pool.join(); }

}  // namespace vaultmere
