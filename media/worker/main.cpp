// SPDX-License-Identifier: GPL-3.0-or-later
// vaultmere-media: reads the media files that Vaultmere passes to it over a
// socket, and sends back what they hold. Started by Vaultmere alone.
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include "media/MediaExit.h"
#include "media/MediaProcess.h"
#include "media/worker/DecoderVersion.h"
#include "media/worker/MemoryExit.h"
#include "media/worker/RequestLoop.h"
#include "media/worker/Sandbox.h"
#include "media/worker/VipsStill.h"
#include "platform/ChildProcess.h"

namespace {

/// Confines this process; what the system lacks for that. The libraries have loaded
/// their plug-ins before, and know what they can't have.
std::vector<std::string> confine(bool isBackground) {
  vaultmere::SandboxOptions options;
  options.isBackground = isBackground;
  if (const char* configuration = std::getenv("MAGICK_CONFIGURE_PATH")) {
    options.readable.emplace_back(configuration);
  }
  const std::string gaps = vaultmere::lockIn(options).gaps();
  return gaps.empty() ? std::vector<std::string>{} : std::vector{gaps};
}

}  // namespace

/// With "--background" it runs when nothing else wants the processor.
int main(int count, char** words) {
  using namespace vaultmere;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  exitWhenOutOfMemory();
  if (!isPacketSocket(ChildProcess::kDescriptor)) {
    std::fputs("vaultmere-media is started by vaultmere, not by hand.\n", stderr);
    return 2;
  }
  PacketSocket socket{Descriptor(ChildProcess::kDescriptor)};
  try {
    prepareVips();
    const std::string decoders = decoderVersion();
    const bool isBackground = count == 2 && std::string_view(words[1]) == kBackgroundArgument;
    serveRequests(socket, {decoders, confine(isBackground)}, answerRequest);
  } catch (const std::bad_alloc&) {
    ::_exit(kMediaExitMemory);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "vaultmere-media: %s\n", error.what()));
    ::_exit(1);
  }
  // At once: what libraries do at exit is of no use here.
  ::_exit(0);
}
