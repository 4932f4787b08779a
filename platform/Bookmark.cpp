// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/Bookmark.h"

#include <algorithm>
#include <cerrno>
#include <nlohmann/json.hpp>
#include <string_view>
#include <system_error>

#include "platform/Files.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

// MARK: Paths as JSON

constexpr std::string_view kHexDigits = "0123456789ABCDEF";

bool standsForItself(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("-._~/").find(c) != std::string_view::npos;
}

std::string percentEncoded(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    if (standsForItself(c)) {
      text += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      text += {'%', kHexDigits[byte >> 4U], kHexDigits[byte & 15U]};
    }
  }
  return text;
}

std::optional<std::string> percentDecoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    if (text.size() - i < 3) {
      return std::nullopt;
    }
    const auto high = kHexDigits.find(text[i + 1]);
    const auto low = kHexDigits.find(text[i + 2]);
    if (high == std::string_view::npos || low == std::string_view::npos) {
      return std::nullopt;
    }
    bytes += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return bytes;
}

void putPath(nlohmann::json& json, const std::string& key, const fs::path& path) {
  const std::string readable = displayPath(path);
  json[key] = readable;
  if (readable != path.native()) {
    json[key + "Bytes"] = percentEncoded(path.native());
  }
}

std::optional<std::string> textAt(const nlohmann::json& json, const std::string& key) {
  const auto found = json.find(key);
  if (found == json.end() || !found->is_string()) {
    return std::nullopt;
  }
  return found->get<std::string>();
}

std::optional<fs::path> pathAt(const nlohmann::json& json, const std::string& key) {
  auto path = textAt(json, key);
  if (const auto encoded = textAt(json, key + "Bytes")) {
    if (auto bytes = percentDecoded(*encoded)) {
      path = std::move(bytes);
    }
  }
  if (!path || path->find('\0') != std::string::npos) {
    return std::nullopt;
  }
  return *path;
}

std::optional<VolumeIdentity> volumeFromJson(const nlohmann::json& json) {
  const auto found = json.find("volume");
  if (found == json.end() || !found->is_object()) {
    return std::nullopt;
  }
  VolumeIdentity volume{textAt(*found, "uuid").value_or(""), textAt(*found, "type").value_or(""),
                        textAt(*found, "source").value_or("")};
  if (volume.uuid.empty() && volume.type.empty()) {
    return std::nullopt;
  }
  return volume;
}

// MARK: Paths on disk

bool climbs(const fs::path& path) {
  return std::find(path.begin(), path.end(), "..") != path.end();
}

/// The path in full, without a trailing slash.
fs::path inFull(const fs::path& folder) {
  std::error_code error;
  const fs::path whole =
      climbs(folder) ? fs::canonical(folder, error) : fs::absolute(folder, error);
  if (error) {
    throw FileError("open", folder, error.value());
  }
  const fs::path normal = whole.lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

/// `path` as seen from `base`; absent when it isn't below it. Empty for `base`
/// itself.
std::optional<fs::path> relativeTo(const fs::path& base, const fs::path& path) {
  const fs::path relative = path.lexically_relative(base);
  if (relative.empty() || climbs(relative)) {
    return std::nullopt;
  }
  return relative == "." ? fs::path() : relative;
}

fs::path joined(const fs::path& folder, const fs::path& relative) {
  return relative.empty() ? folder : folder / relative;
}

/// Fills in which file system `bookmark.path` lies on, and where there.
void locate(Bookmark& bookmark) {
  std::error_code error;
  const fs::path real = fs::canonical(bookmark.path, error);
  const auto volume = error ? std::nullopt : volumeOf(real);
  const auto inside = volume ? relativeTo(volume->mountPoint, real) : std::nullopt;
  if (inside) {
    bookmark.volume = volume->identity;
    bookmark.below = joined(volume->mountedFolder, *inside).relative_path();
  }
}

bool isFolderOn(const fs::path& path, const std::optional<VolumeIdentity>& volume) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    return false;
  }
  if (!volume) {
    return true;
  }
  const auto there = volumeOf(path);
  return there && there->identity.matches(*volume);
}

}  // namespace

Bookmark Bookmark::of(const fs::path& folder) {
  Bookmark bookmark{inFull(folder), std::nullopt, {}};
  std::error_code error;
  const fs::file_status status = fs::status(bookmark.path, error);
  if (status.type() == fs::file_type::not_found) {
    throw FileError("open", folder, ENOENT);
  }
  if (error) {
    throw FileError("open", folder, error.value());
  }
  if (!fs::is_directory(status)) {
    throw FileError("open", folder, ENOTDIR);
  }
  locate(bookmark);
  return bookmark;
}

std::optional<Bookmark> Bookmark::fromJson(const nlohmann::json& json) {
  const auto path = json.is_object() ? pathAt(json, "path") : std::nullopt;
  if (!path || !path->is_absolute()) {
    return std::nullopt;
  }
  Bookmark bookmark{*path, std::nullopt, {}};
  const auto below = pathAt(json, "below");
  if (below && below->is_relative() && !climbs(*below)) {
    bookmark.volume = volumeFromJson(json);
  }
  if (bookmark.volume) {
    bookmark.below = *below;
  }
  return bookmark;
}

nlohmann::json Bookmark::toJson() const {
  nlohmann::json json = nlohmann::json::object();
  putPath(json, "path", path);
  if (volume) {
    json["volume"] = {
        {"uuid", volume->uuid}, {"type", volume->type}, {"source", validUtf8(volume->source)}};
    putPath(json, "below", below);
  }
  return json;
}

std::optional<fs::path> Bookmark::resolve() const {
  if (isFolderOn(path, volume)) {
    return path;
  }
  if (!volume) {
    return std::nullopt;
  }
  for (const Volume& mounted : mountedVolumes()) {
    if (!mounted.identity.matches(*volume)) {
      continue;
    }
    const auto inside = relativeTo(mounted.mountedFolder, joined("/", below));
    const fs::path candidate = inside ? joined(mounted.mountPoint, *inside) : fs::path();
    // Asked again: another mount may lie over this one.
    if (inside && isFolderOn(candidate, volume)) {
      return candidate;
    }
  }
  return std::nullopt;
}

Bookmark Bookmark::completed(const fs::path& found) const {
  Bookmark here{found, std::nullopt, {}};
  locate(here);
  if (!here.volume) {
    here.volume = volume;
    here.below = below;
  } else if (volume && !volume->uuid.empty()) {
    // The same file system; only the name of its device may have changed.
    here.volume = volume;
  }
  return here;
}

}  // namespace vaultmere
