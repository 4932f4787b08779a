// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/HostFilter.h"

#include <unistd.h>

#include <algorithm>
#include <array>

#include "gallery/http/PeerAddress.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::array<std::string_view, 6> kLocalSuffixes{".local",     ".lan",      ".home",
                                                         ".home.arpa", ".internal", ".fritz.box"};

/// Longer texts are no names (RFC 1035).
constexpr std::size_t kMaxName = 255;

/// Without its final dot, in lower case.
std::string normalised(std::string_view name) {
  if (name.ends_with('.')) {
    name.remove_suffix(1);
  }
  return asciiLower(name);
}

std::string machineName() {
  std::array<char, kMaxName + 1> name{};
  return ::gethostname(name.data(), name.size() - 1) == 0 ? normalised(name.data()) : std::string();
}

/// "[::1]:80" gives "::1".
std::string_view withoutPort(std::string_view host) {
  if (host.starts_with('[')) {
    const auto end = host.find(']');
    return end == std::string_view::npos ? host : host.substr(1, end - 1);
  }
  return host.substr(0, host.rfind(':'));
}

bool isBelow(std::string_view name, std::string_view suffix) {
  return name.size() > suffix.size() && name.ends_with(suffix);
}

}  // namespace

HostFilter::HostFilter(const std::vector<std::string>& allowed) : names_{machineName()} {
  for (const std::string& name : allowed) {
    names_.push_back(normalised(trimmed(name, kWhiteSpace)));
  }
  std::erase(names_, std::string());
}

bool HostFilter::allows(std::string_view host) const {
  if (host.empty()) {
    return true;
  }
  if (host.size() > kMaxName) {
    return false;
  }
  const std::string name = normalised(withoutPort(host));
  if (PeerAddress::parse(name)) {
    return true;
  }
  return !name.empty() && name.find(':') == std::string::npos &&
         (name.find('.') == std::string::npos ||
          std::find(names_.begin(), names_.end(), name) != names_.end() ||
          std::any_of(kLocalSuffixes.begin(), kLocalSuffixes.end(),
                      [&](std::string_view suffix) { return isBelow(name, suffix); }));
}

}  // namespace vaultmere
