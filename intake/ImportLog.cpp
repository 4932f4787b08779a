// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/ImportLog.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "platform/Calendar.h"
#include "platform/Files.h"

namespace vaultmere {
namespace {

/// A line takes some 300 bytes; a larger log than this is no longer read.
constexpr std::size_t kMaxLog = std::size_t{2} << 30;

std::string encode(const ImportLogEntry& entry) {
  nlohmann::json json{{"id", entry.id},     {"date", rfc3339(entry.date)},
                      {"kind", entry.kind}, {"filename", entry.filename},
                      {"path", entry.path}, {"source", entry.source}};
  if (entry.detail) {
    json["detail"] = *entry.detail;
  }
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<ImportLogEntry> decode(std::string_view line) {
  try {
    const auto json = nlohmann::json::parse(line);
    const auto date = parseInternetDateTime(json.at("date").get<std::string>());
    if (!date) {
      return std::nullopt;
    }
    ImportLogEntry entry{json.at("id"),   *date,        json.at("kind"),  json.at("filename"),
                         json.at("path"), std::nullopt, json.at("source")};
    if (json.contains("detail")) {
      entry.detail = json["detail"].get<std::string>();
    }
    return entry;
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

/// The last `limit` lines that aren't empty, from the last one back.
std::vector<std::string_view> lastLines(std::string_view text, std::size_t limit) {
  std::vector<std::string_view> lines;
  while (!text.empty() && lines.size() < limit) {
    const auto lineBreak = text.rfind('\n');
    const auto start = lineBreak == std::string_view::npos ? 0 : lineBreak + 1;
    if (start < text.size()) {
      lines.push_back(text.substr(start));
    }
    text = text.substr(0, start == 0 ? 0 : start - 1);
  }
  return lines;
}

}  // namespace

ImportLog::ImportLog(fs::path file, ThreadPool& pool) : file_(std::move(file)), queue_(pool) {}

void ImportLog::append(const std::vector<ImportLogEntry>& entries) {
  if (entries.empty()) {
    return;
  }
  std::string lines;
  for (const ImportLogEntry& entry : entries) {
    lines += encode(entry) + '\n';
  }
  queue_.perform([&] {
    try {
      File file = File::openForAppending(file_);
      // A crash may have left half a line: it isn't to swallow ours.
      if (file.status().stamp.size > 0 && !file.endsWith(std::byte{'\n'})) {
        lines.insert(0, 1, '\n');
      }
      file.write(std::as_bytes(std::span(lines)));
      file.close();
    } catch (const FileError&) {
      // The log must never stop an import.
    }
  });
}

std::vector<ImportLogEntry> ImportLog::read(std::size_t limit) {
  const std::string text = queue_.perform([&]() -> std::string {
    try {
      return readFile(file_, kMaxLog);
    } catch (const FileError&) {
      return {};
    }
  });
  std::vector<ImportLogEntry> entries;
  for (const std::string_view line : lastLines(text, limit)) {
    if (auto entry = decode(line)) {
      entries.push_back(std::move(*entry));
    }
  }
  return entries;
}

void ImportLog::clear() {
  queue_.perform([&] {
    try {
      removeFile(file_);
    } catch (const FileError&) {
      // It is gone, or stays as it is.
    }
  });
}

}  // namespace vaultmere
