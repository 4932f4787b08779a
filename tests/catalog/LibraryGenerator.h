// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Photo.h"
#include "tests/support/DeterministicRandom.h"

namespace vaultmere {

/// How large a made-up library is, and how odd.
struct LibrarySize {
  int photos = 1'000'000;
  int tags = 2'000;
  int labels = 1'000;
  /// The share of rows that have some value at a bound, of another script, with
  /// characters that mean something in SQL, or absent where it seldom is.
  double oddities = 0;
};

/// A row with its relations: the numbers of the names, from 1.
struct LibraryRow {
  Photo photo;
  std::vector<int> tags;
  std::vector<int> labels;
};

/// Makes rows as years of photography do: folders of a few hundred pictures from
/// one camera and one journey, imported in no order of time; more of everything
/// in later years; albums that follow the folders and a few large ones; labels
/// of very unequal use; one row in a hundred trashed, one in twenty-five below a
/// stack. The same sizes and seed always give the same rows.
class LibraryGenerator {
 public:
  LibraryGenerator(const LibrarySize& size, std::uint64_t seed);

  /// The next row, of which there is no end.
  [[nodiscard]] LibraryRow next();

  [[nodiscard]] std::string tagName(int number) const;
  [[nodiscard]] std::string labelName(int number) const;

  /// Writes `size.photos` rows with their names into an empty catalog, in one
  /// transaction. Each is first given to `prepare`, which may change it.
  template <typename Prepare>
  void fill(Connection& connection, Prepare&& prepare) {
    Transaction transaction(connection);
    insertNames(connection);
    for (int i = 0; i < size_.photos; ++i) {
      LibraryRow row = next();
      prepare(row);
      insert(connection, row);
    }
    transaction.commit();
  }

 private:
  struct Place {
    std::string_view country;
    std::string_view city;
  };
  /// What the pictures of one folder have in common.
  struct Folder {
    double start = 0;  ///< seconds since 2001
    int year = 0;
    int camera = 0;
    bool hasCamera = true;
    Place place;
    bool hasPlace = false;
    int album = 0;  ///< 0: none
    int left = 0;   ///< pictures still to be made
    int made = 0;
  };

  void insertNames(Connection& connection) const;
  static void insert(Connection& connection, const LibraryRow& row);
  Folder nextFolder();
  Photo nextPhoto();
  void addPicture(Photo& photo, bool isVideo);
  void addTaking(Photo& photo);
  void addOddities(Photo& photo);
  void addLinks(LibraryRow& row);

  const LibrarySize size_;
  DeterministicRandom random_;
  Folder folder_;
  double import_ = 0;  ///< seconds since 2001
  int made_ = 0;
};

}  // namespace vaultmere
