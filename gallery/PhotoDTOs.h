// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/FacetSet.h"
#include "catalog/Photo.h"

// The records of the wire. Keys are part of the gallery's interface: never
// change them. What has no value is left out; nothing is ever null.
namespace vaultmere {

/// Keeps the order in which keys were set.
using Json = nlohmann::ordered_json;

/// "2021-03-05T10:11:12": the wall clock in the program's zone.
[[nodiscard]] std::string stampOf(CatalogDate date);

/// An array of at most `limit` records with `id` and `n`.
[[nodiscard]] Json facetRecords(const std::vector<FacetValue>& values, std::size_t limit);

/// The text that goes out. Bytes that aren't UTF-8 stand as U+FFFD.
[[nodiscard]] std::string jsonText(const Json& json);

// The records of lists are written straight to the text: a tree of them takes
// longer than to find them, and of some there may be a million.
/// Sorts the names.
void appendPhoto(std::string& text, const Photo& photo, std::vector<std::string> tags,
                 std::vector<std::string> labels);
void appendColour(std::string& text, std::string_view id, std::string_view hex);
void appendFeature(std::string& text, std::string_view id, double latitude, double longitude);

}  // namespace vaultmere
