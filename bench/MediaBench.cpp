// SPDX-License-Identifier: GPL-3.0-or-later
//
// What it costs that foreign files are decoded in processes of their own: next to the
// same work with the decoders called directly, in the process that wants them.
#include <fmt/format.h>

#include <future>
#include <stdexcept>

#include "bench/Benchmark.h"
#include "bench/CameraCard.h"
#include "bench/Measurement.h"
#include "bench/Subprocess.h"
#include "media/worker/ImageDecoder.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FileTools.h"
#include "tests/support/RawMaker.h"
#include "tests/support/StillMaker.h"
#include "tests/support/TestMedia.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere::bench {
namespace {

namespace fs = std::filesystem;

constexpr int kLargePictures = 200;
constexpr int kSmallPictures = 2000;
constexpr int kMixedFiles = 2000;
constexpr double kThumbnailMilliseconds = 150;
constexpr double kDisplayMilliseconds = 3;
constexpr double kResidentMiB = 60;
constexpr double kGrowthMiB = 4;  ///< what two halves of one run differ by in any case
constexpr int kStarts = 20;

/// A box that readers pass over, with a number in it: no two files are the same.
std::string numbered(int number) {
  return std::string("\0\0\0\x10", 4) + "free" + fmt::format("{:08}", number);
}

/// The same freeze by both programs, each in an empty archive.
void compareFreezes(const fs::path& folder, const fs::path& sources, int count,
                    const std::string& name, double bound) {
  const auto freeze = [&](const char* program, const char* target) {
    const fs::path archive = folder / target;
    auto process = std::make_shared<std::unique_ptr<TurnTakingProcess>>();
    return Contender{[=] {
                       process->reset();
                       makeFresh(archive);
                       *process = std::make_unique<TurnTakingProcess>(std::vector<std::string>{
                           program, archive.string(), sources.string(), std::to_string(count)});
                     },
                     [=] { (*process)->takeTurn(); }};
  };
  constexpr std::size_t kRounds = 7;
  const Rounds rounds = measure(kRounds, freeze(VAULTMERE_FREEZE_BY_PROCESS, "ours"),
                                freeze(VAULTMERE_FREEZE_DIRECTLY, "direct"));
  const auto time = [](const Statistics& seconds) {
    return fmt::format("{:.2f} s", seconds.median);
  };
  report({name, "direct decoding", Wanted::atMost, bound}, time(rounds.ours()),
         time(rounds.reference()), rounds.timeRatio());
}

void compareFreezes(const fs::path& folder, const fs::path& card) {
  compareFreezes(folder, card, kLargePictures,
                 fmt::format("freeze {} pictures of 12 megapixels", kLargePictures), 1.05);
  const fs::path small = folder / "small";
  makeFresh(small);
  const std::string picture = stillBytes({.width = 200, .height = 150});
  for (int number = 0; number < kSmallPictures; ++number) {
    writeText(small / fmt::format("{:04}.jpg", number), picture + numbered(number));
  }
  compareFreezes(folder, small, kSmallPictures,
                 fmt::format("freeze {} pictures of 200 x 150", kSmallPictures), 1.25);
}

/// From a program that has asked for nothing yet.
void makeFirstThumbnail(const fs::path& cache, const fs::path& picture) {
  PhotoRef item;
  item.id = std::string(64, 'a');
  item.ext = "jpg";
  item.archivePath = picture.string();
  ThreadPool pool(1);
  MediaService media(testMediaOptions());
  ThumbnailProvider provider(cache, media, {pool, pool});
  std::promise<RenditionState> made;
  provider.ensureThumb(item, [&](RenditionState state) { made.set_value(state); });
  if (made.get_future().get() != RenditionState::made) {
    throw std::runtime_error("the thumbnail couldn't be made");
  }
}

double secondsOf(const std::function<void()>& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

std::string milliseconds(double seconds) { return fmt::format("{:.1f} ms", seconds * 1e3); }

void measureFirstThumbnail(const fs::path& folder, const fs::path& picture) {
  constexpr int kRounds = 9;
  Rounds rounds;
  for (int i = 0; i < kRounds; ++i) {
    makeFresh(folder / "cache");
    rounds.add(secondsOf([&] { makeFirstThumbnail(folder / "cache", picture); }),
               kThumbnailMilliseconds / 1e3);
  }
  report({"first thumbnail after the start, of 12 megapixels", "allowance", Wanted::atMost, 1.0},
         milliseconds(rounds.ours().median), milliseconds(kThumbnailMilliseconds / 1e3),
         rounds.timeRatio());
}

void measureDisplay(const fs::path& picture) {
  constexpr int kPixels = 4000;
  constexpr std::size_t kRounds = 31;
  const File file = File::openForReading(picture);
  MediaService media(testMediaOptions());
  const auto need = [](const std::optional<Bitmap>& bitmap) {
    if (!bitmap || bitmap->width != kPixels) {
      throw std::runtime_error("the picture couldn't be decoded");
    }
  };
  const Rounds times = measure(kRounds, {nullptr, [&] { need(media.scaled({file}, kPixels)); }},
                               {nullptr, [&] {
                                  StillFile still(file);
                                  need(decodeScaled(still, kPixels));
                                }});
  const double later = times.ours().median - times.reference().median;
  const double ratio = later * 1e3 / kDisplayMilliseconds;
  report({fmt::format("display image later than {} of a direct call",
                      milliseconds(times.reference().median)),
          "allowance", Wanted::atMost, 1.0},
         milliseconds(later), milliseconds(kDisplayMilliseconds / 1e3), {ratio, ratio, ratio, 1});
}

/// The program's start, up to its main function and its end.
void measureStart() {
  const auto start = [](const char* program) {
    return Contender{nullptr, [program] {
                       for (int i = 0; i < kStarts; ++i) {
                         runToEnd(program);
                       }
                     }};
  };
  constexpr std::size_t kRounds = 15;
  const Rounds rounds = measure(kRounds, start(VAULTMERE_PROGRAM), start(VAULTMERE_LINKED));
  report({"start of the program", "with the libraries", Wanted::atMost, 1.0},
         milliseconds(rounds.ours().median / kStarts),
         milliseconds(rounds.reference().median / kStarts), rounds.timeRatio());
  Rounds memory;
  memory.add(residentAtEnd(VAULTMERE_PROGRAM), residentAtEnd(VAULTMERE_LINKED));
  const auto size = [](const Statistics& mebibytes) {
    return fmt::format("{:.1f} MiB", mebibytes.median);
  };
  report({"memory of the started program", "with the libraries", Wanted::atMost, 1.0},
         size(memory.ours()), size(memory.reference()), memory.timeRatio());
}

/// Half of the mixed files in each of two folders.
void makeMixedFiles(const std::array<fs::path, 2>& folders) {
  struct Kind {
    const char* extension;
    std::string bytes;
  };
  std::vector<Kind> kinds;
  for (const auto& [format, extension] : {std::pair{StillFormat::jpeg, "jpg"},
                                          {StillFormat::heic, "heic"},
                                          {StillFormat::png, "png"},
                                          {StillFormat::webp, "webp"},
                                          {StillFormat::tiff, "tif"},
                                          {StillFormat::psd, "psd"}}) {
    kinds.push_back({extension, stillBytes({.format = format, .width = 640, .height = 480})});
  }
  const fs::path sample = folders[0] / "sample";
  makeDng(sample, {.width = 640, .height = 480});
  kinds.push_back({"dng", slurp(sample)});
  makeClip(sample, {.width = 640, .height = 480});
  kinds.push_back({"mp4", slurp(sample)});
  removeFile(sample);
  for (int number = 0; number < kMixedFiles; ++number) {
    const auto index = static_cast<std::size_t>(number);
    const Kind& kind = kinds[index % kinds.size()];
    writeText(folders.at(number < kMixedFiles / 2 ? 0 : 1) /
                  fmt::format("{:04}.{}", number, kind.extension),
              kind.bytes + numbered(number));
  }
}

void measureMemory(const fs::path& folder) {
  const std::array folders{folder / "mixed-1", folder / "mixed-2"};
  for (const fs::path& each : folders) {
    makeFresh(each);
  }
  makeMixedFiles(folders);
  makeFresh(folder / "ours");
  const std::string half = std::to_string(kMixedFiles / 2);
  TurnTakingProcess process({VAULTMERE_FREEZE_BY_PROCESS, (folder / "ours").string(),
                             folders[0].string(), half, folders[1].string(), half});
  process.takeTurn();
  const double first = process.mebibytes("VmHWM");
  process.takeTurn();
  const double peak = process.mebibytes("VmHWM");
  const auto claim = [](const std::string& name, double value, double allowed) {
    const double ratio = value / allowed;
    report({name, "allowance", Wanted::atMost, 1.0}, fmt::format("{:.1f} MiB", value),
           fmt::format("{:.0f} MiB", allowed), {ratio, ratio, ratio, 1});
  };
  claim(fmt::format("memory of a freeze of {} mixed files", kMixedFiles), peak, kResidentMiB);
  claim("what the second half of them adds", peak - first, kGrowthMiB);
}

void measureMedia(const fs::path& folder) {
  const fs::path card = folder / "card";
  makeFresh(card);
  const std::vector<CardPicture> pictures = makeCameraCard(card, kLargePictures);
  measureStart();
  measureFirstThumbnail(folder, pictures.front().file);
  measureDisplay(pictures.front().file);
  measureMemory(folder);
  compareFreezes(folder, card);
}

}  // namespace
}  // namespace vaultmere::bench

int main(int argc, char** argv) {
  return vaultmere::bench::runBenchmark(argc, argv, vaultmere::bench::measureMedia);
}
