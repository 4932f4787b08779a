// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>

#include "media/worker/AnswerRequest.h"
#include "platform/PacketSocket.h"

namespace vaultmere {

using AnswerFunction =
    std::function<void(const File& file, const MediaRequest& request, const SendReply& send)>;

/// The work of a media process: says that it is ready, then has each request
/// answered, until the other end closes the socket or sends what is no request.
void serveRequests(PacketSocket& socket, const MediaReady& ready, const AnswerFunction& handler);

}  // namespace vaultmere
