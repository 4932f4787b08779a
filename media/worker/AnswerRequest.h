// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>

#include "media/MediaMessages.h"
#include "platform/Files.h"
#include "platform/MemoryFile.h"

namespace vaultmere {

/// Sends one reply, and with a picture its bytes.
using SendReply = std::function<void(const MediaReply& reply, std::optional<MemoryFile> bytes)>;

/// Reads a file as a request wants it, and sends each part as soon as it is
/// there: the properties, then the pictures in their order. What can't be read is
/// absent; decoders may also crash, hang, or take all memory.
void answerRequest(const File& file, const MediaRequest& request, const SendReply& send);

}  // namespace vaultmere
