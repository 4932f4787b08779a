// SPDX-License-Identifier: GPL-3.0-or-later
// serve_gallery --support DIR --port N [--password P] [--archive DIR]
//
// Opens the catalog of a data folder, which has to be there, and serves it until
// SIGTERM or SIGINT, with one line on standard output when it listens. It may run
// beside Vaultmere; a staged restore is never applied. Without the archive's
// folder, only what is cached is shown.
#include <charconv>
#include <csignal>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include "catalog/CatalogError.h"
#include "gallery/CatalogGallery.h"
#include "gallery/GalleryServer.h"
#include "gallery/http/ListeningSockets.h"
#include "platform/AppDirectories.h"
#include "platform/AsioMainThread.h"
#include "platform/Files.h"

namespace {

using Options = std::map<std::string, std::string, std::less<>>;

/// The options by name; empty when the call isn't understood.
Options parse(int count, char** words) {
  Options options;
  for (int i = 1; i < count; i += 2) {
    const std::string_view name = words[i];
    const bool isKnown =
        name == "--support" || name == "--port" || name == "--password" || name == "--archive";
    if (!isKnown || i + 1 == count) {
      return {};
    }
    options[std::string(name)] = words[i + 1];
  }
  const bool isWhole = options.contains("--support") && options.contains("--port");
  return isWhole ? options : Options{};
}

int portOf(const std::string& text) {
  int port = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  return error == std::errc() && end == text.data() + text.size() ? port : -1;
}

void serve(const Options& options) {
  using namespace vaultmere;
  AsioMainThread main;
  main.onSignals({SIGTERM, SIGINT}, [&main] { main.stop(); });
  const AppDirectories directories = AppDirectories::ofUser();
  MediaService media({.process = {.program = directories.helpers / kMediaProgram}});
  ThreadPool pool(activeProcessors() + 2);
  const std::filesystem::path folder = options.at("--support");
  if (!fileStatus(folder / "Vaultmere.sqlite")) {
    throw std::runtime_error("no catalog in " + folder.string());
  }
  const auto catalog = std::make_shared<VaultmereCatalog>(
      VaultmereCatalog::Options{
          folder, nullptr,
          [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }},
      pool);
  const auto thumbnails = std::make_shared<ThumbnailProvider>(folder / "cache", media,
                                                              ThumbnailProvider::Pools{pool, pool});
  const auto gallery = std::make_shared<CatalogGallery>(catalog, thumbnails);
  if (const auto archive = options.find("--archive"); archive != options.end()) {
    thumbnails->setArchiveRoot(archive->second);
    gallery->setArchive(archive->second);
  }
  GalleryServer server(gallery, {.page = directories.resources / "web"});
  const auto password = options.find("--password");
  server.start(portOf(options.at("--port")),
               password == options.end() ? std::string() : password->second);
  std::printf("Serving http://127.0.0.1:%d/\n", server.port());
  std::fflush(stdout);
  main.run();
  server.stop();
}

}  // namespace

int main(int count, char** words) {
  std::signal(SIGPIPE, SIG_IGN);
  const Options options = parse(count, words);
  if (options.empty()) {
    std::fputs("usage: serve_gallery --support DIR --port N [--password P] [--archive DIR]\n",
               stderr);
    return 2;
  }
  try {
    serve(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "serve_gallery: %s\n", error.what());
    return 1;
  }
  return 0;
}
