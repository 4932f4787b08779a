// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/Files.h"

namespace vaultmere {

/// What goes back to a client: a head, and behind it bytes or a file.
struct Answer {
  std::string head;                         ///< with its blank line; or a whole short answer
  std::shared_ptr<const std::string> body;  ///< null for none
  std::shared_ptr<File> file;               ///< null for none
  std::uint64_t fileSize = 0;               ///< as told in the head
};

/// Takes the answer, or nothing to drop the connection. Called once, on any
/// thread.
using Reply = std::function<void(std::optional<Answer>)>;

}  // namespace vaultmere
