// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vaultmere {

class Connection;

/// One of an item's two files.
enum class ArchivedPart { primary, motion };

/// An item as a reader of its files sees it: where they are, and what they must
/// be. When each was verified last stands in a store of its own: see
/// VerificationTimes.
struct VerifiableItem {
  std::int64_t row = 0;  ///< primary key
  std::string id;
  std::string ext;  ///< as in the row: "." and the lower-cased extension
  std::string targetPath;
  std::optional<std::string> archivePath;
  bool isTrashed = false;
  bool hasMotion = false;
  std::optional<std::string> liveMotionPath;
  std::optional<std::string> motionHash;   ///< absent until it has been read once
  std::optional<std::string> primaryMark;  ///< the hash of the wrong bytes; absent: not marked
  std::optional<std::string> motionMark;

  [[nodiscard]] const std::optional<std::string>& mark(ArchivedPart part) const {
    return part == ArchivedPart::primary ? primaryMark : motionMark;
  }
  bool operator==(const VerifiableItem&) const = default;
};

// All throw CatalogError. Those that write are durable when they return, or with
// the transaction around them.

/// The item of a row; absent when the row is gone.
[[nodiscard]] std::optional<VerifiableItem> fetchVerifiableItem(Connection& connection,
                                                                std::int64_t row);

/// The item of an `id` with a marked file; absent for all others.
[[nodiscard]] std::optional<VerifiableItem> fetchMarkedItem(Connection& connection,
                                                            std::string_view id);

/// All items with a marked file, in the order of their rows.
[[nodiscard]] std::vector<VerifiableItem> fetchMarkedItems(Connection& connection);

/// Marks a file as bad: `readHash` was read twice in its place.
void markFile(Connection& connection, std::int64_t row, ArchivedPart part,
              std::string_view readHash);

/// Takes the mark off, if there is one.
void clearMark(Connection& connection, std::int64_t row, ArchivedPart part);

/// Keeps the hash of a motion file that has just been copied or compared, in place
/// of an earlier one; a mark of that file goes.
void recordMotionHash(Connection& connection, std::int64_t row, std::string_view hash);

/// Keeps the hash of a motion file of which none was known. One that has come
/// meanwhile stays; a row that is gone is passed over.
void learnMotionHash(Connection& connection, std::int64_t row, std::string_view hash);

}  // namespace vaultmere
