// SPDX-License-Identifier: GPL-3.0-or-later
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "gallery/Route.h"
#include "gallery/http/Authentication.h"
#include "gallery/http/HostFilter.h"
#include "gallery/http/HttpRequest.h"
#include "gallery/http/RequestHeadReader.h"
#include "platform/Text.h"

// What is done with the bytes of an unknown client: gathering the head, reading
// it, checking host and password, finding the route.

namespace {

using namespace vaultmere;
using Result = RequestHeadReader::Result;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

struct Gathered {
  Result result = Result::needMore;
  std::string head;
  bool operator==(const Gathered&) const = default;
};

Gathered gather(std::string_view bytes, std::size_t piece) {
  RequestHeadReader parser;
  Gathered gathered;
  while (!bytes.empty() && gathered.result == Result::needMore) {
    gathered.result = parser.feed(bytes.substr(0, piece));
    bytes.remove_prefix(std::min(piece, bytes.size()));
  }
  if (gathered.result == Result::complete) {
    gathered.head = parser.takeHead();
  }
  return gathered;
}

void read(const std::string& head) {
  const auto request = parseRequest(head);
  if (!request) {
    return;
  }
  static const Password password("p\xc3\xa4ss");
  static const HostFilter hosts({"photos.example.org"});
  (void)password.accepts(request->authorization.value_or(""));
  (void)hosts.allows(request->host.value_or(""));
  for (const auto& text : {std::optional(request->path), std::optional(request->query),
                           request->host, request->authorization}) {
    require(!text || validUtf8(*text) == *text);
  }
  require(request->path.find('?') == std::string::npos);
  const Route route = routeOf(request->path);
  require(route.id.empty() || request->path.ends_with(route.id));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Gathered whole = gather(bytes, bytes.size());
  require(gather(bytes, 1) == whole && gather(bytes, 7) == whole);
  const auto end = bytes.find("\r\n\r\n");
  if (size < RequestHeadReader::kHeadLimit) {
    require((end != std::string_view::npos) == (whole.result == Result::complete));
  }
  if (whole.result == Result::complete) {
    require(whole.head == bytes.substr(0, end));
    read(whole.head);
  }
  read(std::string(bytes));
  return 0;
}
