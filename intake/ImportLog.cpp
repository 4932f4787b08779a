// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/ImportLog.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <span>

#include "platform/Calendar.h"
#include "platform/Files.h"

namespace vaultmere {
namespace {

/// The file is read backwards in pieces of this many bytes.
constexpr std::int64_t kPiece = std::int64_t{64} << 10;
/// A line takes some 300 bytes. Further back than this nothing is read, so that
/// a file without line breaks doesn't fill the memory.
constexpr std::size_t kMaxRead = std::size_t{64} << 20;

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

/// The end of a file, from the start of a line on: at least its last `limit`
/// lines that aren't empty, as far as there are so many within kMaxRead.
std::string tail(const File& file, std::size_t limit) {
  std::vector<std::string> pieces;  // the last one first
  std::size_t lines = 0;
  std::size_t bytes = 0;
  std::int64_t start = file.status().stamp.size;
  while (start > 0 && lines <= limit && bytes < kMaxRead) {
    const std::int64_t end = start;
    start = std::max<std::int64_t>(0, end - kPiece);
    std::string piece(static_cast<std::size_t>(end - start), '\0');
    piece.resize(file.readAt(start, std::as_writable_bytes(std::span(piece))));
    for (std::size_t i = 1; i < piece.size(); ++i) {
      if (piece[i] == '\n' && piece[i - 1] != '\n') {
        ++lines;
      }
    }
    bytes += piece.size();
    pieces.push_back(std::move(piece));
  }
  std::string text;
  text.reserve(bytes);
  for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) {
    text += *piece;
  }
  return start == 0 ? text : text.substr(std::min(text.size(), text.find('\n')));
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

/// A crash may have left half a line at the end.
bool endsWithLineBreak(const File& file) {
  const std::int64_t size = file.status().stamp.size;
  std::byte last{};
  return size == 0 || (file.readAt(size - 1, {&last, 1}) == 1 && last == std::byte{'\n'});
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
      if (!endsWithLineBreak(file)) {
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
      return tail(File::openForReading(file_), limit);
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
