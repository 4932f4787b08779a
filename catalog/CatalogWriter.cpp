// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/CatalogWriter.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "catalog/PhotoSchema.h"
#include "platform/Calendar.h"

namespace vaultmere {
namespace {

constexpr std::array<std::pair<std::string_view, bool Photo::*>, 8> kTypeFlags{{
    {"screenshot", &Photo::ptScreenshot},
    {"selfie", &Photo::ptSelfie},
    {"portrait", &Photo::ptPortrait},
    {"panorama", &Photo::ptPanorama},
    {"slow_mo", &Photo::ptSlowMo},
    {"time_lapse", &Photo::ptTimeLapse},
    {"hdr", &Photo::ptHDR},
    {"burst", &Photo::ptBurst},
}};

Photo rowOf(const AnalyzedPhoto& from) {
  Photo row;
  static_cast<PhotoMetadata&>(row) = static_cast<const PhotoMetadata&>(from);
  row.processedAt = parseCatalogDate(from.processedAt);
  if (from.captureDate) {
    row.captureDate = parseCatalogDate(*from.captureDate);
  }
  if (row.captureDate) {
    row.year = localTime(row.captureDate->wholeSeconds()).year;
  }
  for (const auto& [key, member] : kTypeFlags) {
    const auto flag = from.photoTypeFlags.find(std::string(key));
    row.*member = flag != from.photoTypeFlags.end() && flag->second;
  }
  return row;
}

/// The tables of one of the two relationships.
struct Relationship {
  std::string_view find;
  std::string_view insert;
  std::string_view link;
};
constexpr Relationship kTags{"SELECT pk FROM Tag WHERE name = ?",
                             "INSERT INTO Tag (name) VALUES (?)",
                             "INSERT INTO Photo_tags (photo, tag) VALUES (?, ?)"};
constexpr Relationship kLabels{"SELECT pk FROM Label WHERE name = ?",
                               "INSERT INTO Label (name) VALUES (?)",
                               "INSERT INTO Photo_labels (photo, label) VALUES (?, ?)"};

std::int64_t getOrCreate(Connection& connection, const Relationship& relationship,
                         const std::string& name) {
  {
    auto find = connection.prepare(relationship.find);
    find.bind(1, std::string_view(name));
    if (find.step()) {
      return find.integer(0);
    }
  }
  connection.prepare(relationship.insert).bind(1, std::string_view(name)).step();
  return connection.lastInsertedKey();
}

void linkNames(Connection& connection, const Relationship& relationship, std::int64_t photo,
               const std::vector<std::string>& names) {
  std::set<std::string_view> linked{""};
  for (const std::string& name : names) {
    if (linked.insert(name).second) {
      const std::int64_t target = getOrCreate(connection, relationship, name);
      connection.prepare(relationship.link).bind(1, photo).bind(2, target).step();
    }
  }
}

/// Merges the photo library's identifier of a second copy into a known row.
void mergeDuplicate(Connection& connection, const AnalyzedPhoto& photo, std::int64_t row,
                    const std::optional<std::string>& known, std::vector<std::string> aliases) {
  if (!photo.photosUUID || known == photo.photosUUID) {
    return;
  }
  if (!known) {
    connection.prepare("UPDATE Photo SET photosUUID = ? WHERE pk = ?")
        .bind(1, std::string_view(*photo.photosUUID))
        .bind(2, row)
        .step();
  } else if (std::find(aliases.begin(), aliases.end(), *photo.photosUUID) == aliases.end()) {
    aliases.push_back(*photo.photosUUID);
    connection.prepare("UPDATE Photo SET aliasUUIDs = ? WHERE pk = ?")
        .bind(1, std::string_view(stringListText(aliases)))
        .bind(2, row)
        .step();
  }
}

/// Gives a known still the motion file that came later.
void addMotionFile(Connection& connection, const AnalyzedPhoto& photo, std::int64_t row) {
  if (photo.liveMotionFile && photo.liveMotionPath) {
    connection
        .prepare(
            "UPDATE Photo SET mediaType = ?, liveMotionFile = ?, liveMotionPath = ?,"
            " liveMotionSize = ? WHERE pk = ? AND liveMotionFile IS NULL")
        .bind(1, std::string_view(photo.mediaType))
        .bind(2, std::string_view(*photo.liveMotionFile))
        .bind(3, std::string_view(*photo.liveMotionPath))
        .bind(4, photo.liveMotionSize.value_or(0))
        .bind(5, row)
        .step();
  }
}

/// Keeps the hash of a motion file that has just been read at the row's place.
void keepMotionHash(Connection& connection, const AnalyzedPhoto& photo, std::int64_t row) {
  if (!photo.liveMotionHash) {
    return;
  }
  auto own = connection.prepare(
      "SELECT 1 FROM Photo WHERE pk = ? AND targetPath = ? AND trashedAt IS NULL");
  if (own.bind(1, row).bind(2, std::string_view(photo.targetPath)).step()) {
    recordMotionHash(connection, row, *photo.liveMotionHash);
  }
}

CatalogWriter::Outcome writeTo(Connection& connection, const AnalyzedPhoto& photo) {
  Transaction transaction(connection);
  std::optional<std::int64_t> known;
  std::optional<std::string> knownUUID;
  std::vector<std::string> aliases;
  {
    auto find = connection.prepare("SELECT pk, photosUUID, aliasUUIDs FROM Photo WHERE id = ?");
    find.bind(1, std::string_view(photo.id));
    if (find.step()) {
      known = find.integer(0);
      if (!find.isNull(1)) {
        knownUUID = find.text(1);
      }
      aliases = stringListFromText(find.text(2));
    }
  }
  if (known) {
    mergeDuplicate(connection, photo, *known, knownUUID, std::move(aliases));
    addMotionFile(connection, photo, *known);
    keepMotionHash(connection, photo, *known);
  } else {
    const std::int64_t row = insertPhoto(connection, rowOf(photo));
    linkNames(connection, kTags, row, photo.tags);
    linkNames(connection, kLabels, row, photo.labels);
    keepMotionHash(connection, photo, row);
  }
  transaction.commit();
  return known ? CatalogWriter::Outcome::duplicate : CatalogWriter::Outcome::inserted;
}

}  // namespace

CatalogWriter::CatalogWriter(std::shared_ptr<CatalogContext> context)
    : context_(std::move(context)) {}

CatalogWriter::Outcome CatalogWriter::write(const AnalyzedPhoto& photo) const {
  return context_->perform([&](Connection& connection) { return writeTo(connection, photo); });
}

bool CatalogWriter::holds(std::string_view id) const {
  return context_->perform([&](Connection& connection) {
    return connection.prepare("SELECT 1 FROM Photo WHERE id = ?").bind(1, id).step();
  });
}

std::optional<VerifiableItem> CatalogWriter::marked(std::string_view id) const {
  return context_->perform([&](Connection& connection) { return fetchMarkedItem(connection, id); });
}

void CatalogWriter::clearMark(const VerifiableItem& item, ArchivedPart part) const {
  context_->perform([&](Connection& connection) {
    Transaction transaction(connection);
    vaultmere::clearMark(connection, item.row, part);
    transaction.commit();
  });
}

}  // namespace vaultmere
