// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/RequestHeadReader.h"

#include <algorithm>
#include <utility>

namespace vaultmere {
namespace {

constexpr std::string_view kBlankLine = "\r\n\r\n";

}  // namespace

RequestHeadReader::Result RequestHeadReader::feed(std::string_view bytes) {
  // The blank line may have begun in the bytes that are here already.
  const std::size_t start = buffer_.size() - std::min(buffer_.size(), kBlankLine.size() - 1);
  buffer_.append(bytes.substr(0, kHeadLimit - buffer_.size()));
  if (const auto end = buffer_.find(kBlankLine, start); end != std::string::npos) {
    buffer_.resize(end);
    return Result::complete;
  }
  return buffer_.size() >= kHeadLimit ? Result::drop : Result::needMore;
}

std::string RequestHeadReader::takeHead() { return std::exchange(buffer_, {}); }

}  // namespace vaultmere
