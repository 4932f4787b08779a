// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "analysis/VisionAnalysis.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

/// Answers every picture in the same way, or fails.
struct FixedVision : Vision {
  VisionObservations observations;
  std::string failure;

  VisionObservations perform(const Bitmap&, int) const override {
    return failure.empty() ? observations : throw std::runtime_error(failure);
  }
};

TEST(VisionAnalysis, KeepsTheTenBestLabels) {
  FixedVision vision;
  for (int i = 0; i < 12; ++i) {
    const int pair = i / 2;  // two of each confidence, in the order that must stay
    vision.observations.classifications.push_back(
        {"label" + std::to_string(i), 0.1F + 0.05F * static_cast<float>(pair)});
  }
  vision.observations.classifications.push_back({"weak", 0.0999F});
  vision.observations.classifications.push_back({"broken", std::nanf("")});
  vision.observations.overallScores = {-0.25F, 0.5F};
  const VisionAnalysis analysis = analyzeVision(&vision, Bitmap{}, 1);
  EXPECT_EQ(analysis.labels,
            (std::vector<std::string>{"label10", "label11", "label8", "label9", "label6", "label7",
                                      "label4", "label5", "label2", "label3"}));
  EXPECT_EQ(analysis.aestheticScore, -0.25);

  vision.observations = {{{"bound", 0.1F}, {"Below", 0.0999F}}, {0.1F}};
  EXPECT_EQ(analyzeVision(&vision, Bitmap{}, 1),
            (VisionAnalysis{{"bound"}, static_cast<double>(0.1F)}));
  vision.observations = {};
  EXPECT_EQ(analyzeVision(&vision, Bitmap{}, 1), VisionAnalysis{});
}

TEST(VisionAnalysis, LogsAFailingServiceOnce) {
  const LogCapture log;
  EXPECT_EQ(analyzeVision(nullptr, Bitmap{}, 1), VisionAnalysis{});
  EXPECT_TRUE(log.lines().empty());
  FixedVision vision;
  vision.failure = "no model";
  EXPECT_EQ(analyzeVision(&vision, Bitmap{}, 1), VisionAnalysis{});
  EXPECT_EQ(log.lines(), std::vector<std::string>{"Vaultmere: Vision failed — no model"});
}

}  // namespace
}  // namespace vaultmere
