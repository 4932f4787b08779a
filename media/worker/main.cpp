// SPDX-License-Identifier: GPL-3.0-or-later
// vaultmere-media: reads the media files that Vaultmere passes to it over a
// socket, and sends back what they hold. Started by Vaultmere alone.
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "media/worker/DecoderVersion.h"
#include "media/worker/RequestLoop.h"
#include "platform/ChildProcess.h"

int main() {
  using namespace vaultmere;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (!isPacketSocket(ChildProcess::kDescriptor)) {
    std::fputs("vaultmere-media is started by vaultmere, not by hand.\n", stderr);
    return 2;
  }
  PacketSocket socket{Descriptor(ChildProcess::kDescriptor)};
  serveRequests(socket, {decoderVersion(), {}}, answerRequest);
  // At once: what libraries do at exit is of no use here.
  ::_exit(0);
}
