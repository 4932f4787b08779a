// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/ResponseHead.h"

#include <fmt/format.h>

namespace vaultmere {

std::string okHead(std::string_view type, std::uint64_t length) {
  return fmt::format(
      "HTTP/1.1 200 OK\r\n"
      "Content-Type: {}\r\n"
      "Content-Length: {}\r\n"
      "Connection: close\r\n\r\n",
      type, length);
}

std::string pictureHead(std::string_view type, std::uint64_t length) {
  return fmt::format(
      "HTTP/1.1 200 OK\r\n"
      "Content-Type: {}\r\n"
      "Content-Length: {}\r\n"
      "Cache-Control: max-age=86400\r\n"
      "Connection: close\r\n\r\n",
      type, length);
}

std::string notFoundResponse() {
  return "HTTP/1.1 404 Not Found\r\n"
         "Content-Type: text/plain\r\n"
         "Content-Length: 0\r\n"
         "Connection: close\r\n\r\n";
}

std::string unauthorisedResponse() {
  return "HTTP/1.1 401 Unauthorized\r\n"
         "WWW-Authenticate: Basic realm=\"Vaultmere Gallery\", charset=\"UTF-8\"\r\n"
         "Content-Type: text/plain\r\n"
         "Content-Length: 24\r\n"
         "Connection: close\r\n\r\n"
         "Authentication required.";
}

}  // namespace vaultmere
