// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/HdrToneMapping.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace vaultmere {
namespace {

/// The light of paper white, in candela a square metre (ITU-R BT.2408).
constexpr double kWhite = 203;
/// The brightest light of the screen that hybrid log-gamma is made for.
constexpr double kHlgPeak = 1000;

double linearOfSrgb(double code) {
  return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}

double srgbOfLinear(double light) {
  return light <= 0.0031308 ? light * 12.92 : 1.055 * std::pow(light, 1 / 2.4) - 0.055;
}

/// The scene's light, 1 at the most.
double linearOfHlg(double code) {
  constexpr double kA = 0.17883277;
  constexpr double kB = 1 - 4 * kA;
  const double c = 0.5 - kA * std::log(4 * kA);
  return code <= 0.5 ? code * code / 3 : (std::exp((code - c) / kA) + kB) / 12;
}

/// The screen's light, paper white being 1.
double linearOfPq(double code) {
  constexpr double kM1 = 2610.0 / 16384;
  constexpr double kM2 = 2523.0 / 4096 * 128;
  constexpr double kC1 = 3424.0 / 4096;
  constexpr double kC2 = 2413.0 / 4096 * 32;
  constexpr double kC3 = 2392.0 / 4096 * 32;
  const double root = std::pow(code, 1 / kM2);
  return 10'000 / kWhite * std::pow(std::max(root - kC1, 0.0) / (kC2 - kC3 * root), 1 / kM1);
}

constexpr std::size_t kCodes = 65'536;
using Table = std::vector<float>;

Table tableOf(double (*function)(double)) {
  Table table(kCodes);
  for (std::size_t code = 0; code < kCodes; ++code) {
    table[code] = static_cast<float>(function(static_cast<double>(code) / (kCodes - 1)));
  }
  return table;
}

const Table& linearTable(TransferFunction light) {
  static const Table standard = tableOf(&linearOfSrgb);
  static const Table hlg = tableOf(&linearOfHlg);
  static const Table pq = tableOf(&linearOfPq);
  return light == TransferFunction::hlg ? hlg : light == TransferFunction::pq ? pq : standard;
}

using Light = std::array<float, 3>;

/// From what hybrid log-gamma holds to what its screen shows (BT.2100's OOTF).
Light shownOfScene(const Light& scene) {
  const float luminance = 0.2627F * scene[0] + 0.6780F * scene[1] + 0.0593F * scene[2];
  const float gain = static_cast<float>(kHlgPeak / kWhite) * std::pow(luminance, 0.2F);
  return {scene[0] * gain, scene[1] * gain, scene[2] * gain};
}

/// BT.2020's primaries to those of BT.709, which are sRGB's (ITU-R BT.2087).
Light narrowed(const Light& wide) {
  return {1.6605F * wide[0] - 0.5876F * wide[1] - 0.0728F * wide[2],
          -0.1246F * wide[0] + 1.1329F * wide[1] - 0.0083F * wide[2],
          -0.0182F * wide[0] - 0.1006F * wide[1] + 1.1187F * wide[2]};
}

/// Light up to the knee stays; all above nears 1, its colour kept.
Light pressed(const Light& light) {
  constexpr float kKnee = 0.75F;
  const float most = *std::max_element(light.begin(), light.end());
  if (most <= kKnee) {
    return light;
  }
  const float above = most - kKnee;
  const float gain = (kKnee + (1 - kKnee) * above / (above + 1 - kKnee)) / most;
  return {light[0] * gain, light[1] * gain, light[2] * gain};
}

std::uint8_t codeOf(float light) {
  static const Table table = tableOf(&srgbOfLinear);
  const float index = std::clamp(light, 0.0F, 1.0F) * (kCodes - 1);
  return static_cast<std::uint8_t>(std::lround(table[static_cast<std::size_t>(index)] * 255));
}

}  // namespace

std::vector<std::uint8_t> srgbOfWideColours(std::span<const std::uint16_t> pixels,
                                            TransferFunction light) {
  const Table& linear = linearTable(light);
  std::vector<std::uint8_t> result;
  result.reserve(pixels.size());
  for (std::size_t at = 0; at + 3 <= pixels.size(); at += 3) {
    Light pixel{linear[pixels[at]], linear[pixels[at + 1]], linear[pixels[at + 2]]};
    if (light == TransferFunction::hlg) {
      pixel = shownOfScene(pixel);
    }
    pixel = narrowed(pixel);
    if (light != TransferFunction::standard) {
      pixel = pressed(pixel);
    }
    for (const float channel : pixel) {
      result.push_back(codeOf(channel));
    }
  }
  return result;
}

}  // namespace vaultmere
