// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <array>

#include "media/worker/HdrToneMapping.h"

namespace vaultmere {
namespace {

using Pixel = std::array<double, 3>;

TEST(HdrToneMapping, MapsToSrgb) {
  const struct {
    const char* name;
    TransferFunction light;
    Pixel code;  ///< 0 to 1
    std::array<int, 3> srgb;
  } rows[] = {
      {"black", TransferFunction::hlg, {0, 0, 0}, {0, 0, 0}},
      {"black", TransferFunction::pq, {0, 0, 0}, {0, 0, 0}},
      {"black", TransferFunction::standard, {0, 0, 0}, {0, 0, 0}},
      {"greys keep their code", TransferFunction::standard, {0.5, 0.5, 0.5}, {128, 128, 128}},
      {"white", TransferFunction::standard, {1, 1, 1}, {255, 255, 255}},
      {"a wide red is cut off", TransferFunction::standard, {1, 0, 0}, {255, 0, 0}},
      {"a modest red grows redder", TransferFunction::standard, {0.6, 0.4, 0.4}, {177, 93, 101}},
      // BT.2408: an 18 % grey card and paper white, at these levels in both forms.
      {"grey card", TransferFunction::hlg, {0.38, 0.38, 0.38}, {101, 101, 101}},
      {"grey card", TransferFunction::pq, {0.38, 0.38, 0.38}, {101, 101, 101}},
      {"paper white", TransferFunction::hlg, {0.75, 0.75, 0.75}, {240, 240, 240}},
      {"paper white", TransferFunction::pq, {0.58, 0.58, 0.58}, {240, 240, 240}},
      {"the sun", TransferFunction::hlg, {1, 1, 1}, {253, 253, 253}},
      {"the sun", TransferFunction::pq, {1, 1, 1}, {255, 255, 255}},
  };
  for (const auto& row : rows) {
    std::array<std::uint16_t, 3> code{};
    for (std::size_t i = 0; i < code.size(); ++i) {
      code.at(i) = static_cast<std::uint16_t>(row.code.at(i) * 65'535);
    }
    const auto srgb = srgbOfWideColours(code, row.light);
    ASSERT_EQ(srgb.size(), 3U);
    for (std::size_t i = 0; i < srgb.size(); ++i) {
      EXPECT_NEAR(srgb[i], row.srgb.at(i), 3)
          << row.name << " in form " << static_cast<int>(row.light);
    }
  }
}

}  // namespace
}  // namespace vaultmere
