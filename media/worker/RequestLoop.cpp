// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/RequestLoop.h"

#include <system_error>
#include <utility>

namespace vaultmere {

void serveRequests(PacketSocket& socket, const MediaReady& ready, const AnswerFunction& handler) {
  try {
    socket.send(encodeMediaReply(ready));
    for (;;) {
      auto received = socket.receive(kMaxMediaMessageBytes);
      const auto request = parseMediaRequest(received.packet.bytes);
      if (!request) {
        return;
      }
      const File file =
          File::adoptRegular(received.packet.descriptor.release(), "the file of a request");
      handler(file, *request, [&](const MediaReply& reply, std::optional<MemoryFile> bytes) {
        const Descriptor sealed = bytes ? std::move(*bytes).seal() : Descriptor(-1);
        socket.send(encodeMediaReply(reply), sealed.get());
      });
    }
  } catch (const std::system_error&) {
    return;  // the other end has gone
  } catch (const FileError&) {
    return;  // it has sent no regular file
  }
}

}  // namespace vaultmere
