// SPDX-License-Identifier: GPL-3.0-or-later
#include "analysis/VisionAnalysis.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>

#include "platform/Log.h"

namespace vaultmere {
namespace {

constexpr float kMinConfidence = 0.1F;
constexpr std::size_t kMaxLabels = 10;

std::vector<std::string> labelsOf(std::vector<Classification> classifications) {
  std::erase_if(classifications,
                [](const Classification& c) { return !(c.confidence >= kMinConfidence); });
  std::stable_sort(
      classifications.begin(), classifications.end(),
      [](const Classification& a, const Classification& b) { return a.confidence > b.confidence; });
  classifications.resize(std::min(classifications.size(), kMaxLabels));
  std::vector<std::string> labels;
  labels.reserve(classifications.size());
  for (Classification& classification : classifications) {
    labels.push_back(std::move(classification.identifier));
  }
  return labels;
}

}  // namespace

VisionAnalysis analyzeVision(const Vision* service, const Bitmap& image, int orientation) {
  if (service == nullptr) {
    return {};
  }
  try {
    VisionObservations observations = service->perform(image, orientation);
    VisionAnalysis analysis{labelsOf(std::move(observations.classifications)), {}};
    if (!observations.overallScores.empty()) {
      analysis.aestheticScore = observations.overallScores.front();
    }
    return analysis;
  } catch (const std::exception& error) {
    logLine(fmt::format("Vaultmere: Vision failed — {}", error.what()));
    return {};
  }
}

}  // namespace vaultmere
