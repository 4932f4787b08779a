// SPDX-License-Identifier: GPL-3.0-or-later
// make_samples FOLDER: fills a folder with pictures and clips of many kinds,
// the same ones each time, to try the program on.
#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>

#include "demo/Album.h"
#include "tests/support/FileTools.h"

namespace vaultmere::demo {

namespace fs = std::filesystem;

Metadata exif(const Camera& camera, const std::string& date, const Exposure& exposure) {
  Metadata metadata;
  metadata.exif = {{"Exif.Image.Make", camera.make},
                   {"Exif.Image.Model", camera.model},
                   {"Exif.Image.Software", camera.software},
                   {"Exif.Photo.DateTimeOriginal", date},
                   {"Exif.Photo.DateTimeDigitized", date},
                   {"Exif.Photo.ISOSpeedRatings", exposure.iso},
                   {"Exif.Photo.ExposureTime", exposure.seconds},
                   {"Exif.Photo.FNumber", exposure.aperture},
                   {"Exif.Photo.FocalLength", exposure.focalLength}};
  if (camera.lens != nullptr) metadata.exif["Exif.Photo.LensModel"] = camera.lens;
  return metadata;
}

Metadata exif(const Camera& camera, const std::string& date, const Exposure& exposure,
              GpsPosition place) {
  Metadata metadata = exif(camera, date, exposure);
  metadata.gps = place;
  return metadata;
}

namespace {

// Each job makes files of its own, so that their order doesn't matter. The
// first failure is the one that counts.
void run(const std::vector<Job>& jobs) {
  std::atomic<std::size_t> next = 0;
  std::mutex mutex;
  std::exception_ptr failure;
  const auto work = [&] {
    for (std::size_t job = next++; job < jobs.size(); job = next++) {
      try {
        jobs[job]();
      } catch (...) {
        const std::lock_guard lock(mutex);
        if (!failure) failure = std::current_exception();
      }
    }
  };
  {
    std::vector<std::jthread> threads;
    const unsigned count = std::max(1U, std::thread::hardware_concurrency());
    for (unsigned i = 0; i < count; ++i) threads.emplace_back(work);
  }
  if (failure) std::rethrow_exception(failure);
}

// A file without a date of its own goes by its modification time.
void setModificationTimes(const fs::path& folder) {
  using namespace std::chrono;
  TimePoint moment = sys_days{2022y / November / 5} + hours{14};
  for (const std::string& name : filesBelow(folder)) {
    setModified(folder / name, moment);
    moment += minutes{7};
  }
}

}  // namespace

void makeSamples(const fs::path& folder) {
  std::vector<Job> jobs = otherFiles(folder);
  for (Job& job : photographs(folder)) jobs.push_back(std::move(job));
  run(jobs);
  makeCopies(folder);
  setModificationTimes(folder);
}

}  // namespace vaultmere::demo

int main(int count, char** arguments) {
  if (count != 2) {
    fmt::print(stderr, "usage: make_samples FOLDER\n");
    return 2;
  }
  try {
    const std::filesystem::path folder = arguments[1];
    vaultmere::demo::makeSamples(folder);
    fmt::print("{} files in {}\n", vaultmere::filesBelow(folder).size(), folder.string());
  } catch (const std::exception& error) {
    fmt::print(stderr, "make_samples: {}\n", error.what());
    return 1;
  }
  return 0;
}
