// SPDX-License-Identifier: GPL-3.0-or-later
// make_catalog FOLDER PHOTOS: fills an empty folder with what serve_gallery needs,
// `data` with the catalog and its thumbnails, and `archive`.
#include <charconv>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "catalog/CatalogWriter.h"
#include "catalog/VaultmereCatalog.h"
#include "tests/web/MadeLibrary.h"

namespace {

namespace fs = std::filesystem;

constexpr int kScenes = 144;

void make(const fs::path& folder, int photos) {
  using namespace vaultmere;
  ThreadPool pool(1);
  const VaultmereCatalog catalog({folder / "data", nullptr, {}}, pool);
  fs::create_directories(folder / "archive");
  if (photos == 0) return;
  const auto context = catalog.newBackgroundContext();
  context->perform([](Connection& store) { store.execute("PRAGMA synchronous = OFF"); });
  MadeLibrary library({folder / "data/cache/thumbs", folder / "archive"},
                      paintScenes(folder / "scenes", std::min(kScenes, photos)));
  const CatalogWriter writer(context);
  for (int made = 0; made < photos; ++made) {
    if (writer.write(library.next()) != CatalogWriter::Outcome::inserted) {
      throw std::runtime_error("two photos have the same id");
    }
  }
}

}  // namespace

int main(int count, char** words) {
  int photos = -1;
  if (count == 3) {
    const std::string_view text = words[2];
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), photos);
    if (error != std::errc() || end != text.data() + text.size()) photos = -1;
  }
  if (photos < 0) {
    std::fputs("usage: make_catalog FOLDER PHOTOS\n", stderr);
    return 2;
  }
  try {
    make(words[1], photos);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "make_catalog: %s\n", error.what());
    return 1;
  }
  return 0;
}
