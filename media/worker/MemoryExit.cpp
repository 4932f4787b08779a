// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/MemoryExit.h"

#include <glib.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "media/MediaExit.h"

namespace vaultmere {
namespace {

/// GLib's words are "…: failed to allocate 4096 bytes" and "…: overflow allocating 4
/// × 4096 bytes". After any other fatal message it ends the process itself.
void handleMessage(const char* domain, GLogLevelFlags level, const char* message, void* /*data*/) {
  const std::string_view text = message == nullptr ? "" : message;
  if ((level & G_LOG_LEVEL_ERROR) != 0 && (text.find("failed to allocate") != text.npos ||
                                           text.find("overflow allocating") != text.npos)) {
    ::_exit(kMediaExitMemory);
  }
  g_log_default_handler(domain, level, message, nullptr);
}

[[noreturn]] void handleUncaught() {
  try {
    if (const std::exception_ptr uncaught = std::current_exception()) {
      std::rethrow_exception(uncaught);
    }
  } catch (const std::bad_alloc&) {
    ::_exit(kMediaExitMemory);
  } catch (...) {  // a crash, as it would be without this
  }
  std::abort();
}

}  // namespace

void exitWhenOutOfMemory() {
  g_log_set_default_handler(&handleMessage, nullptr);
  std::set_terminate(&handleUncaught);
}

}  // namespace vaultmere
