// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/PhotoFilter.h"

#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::string_view kBlanks = " \t";

}  // namespace

bool PhotoFilter::isActive() const {
  PhotoFilter unset;
  unset.q = q;
  return *this != unset || !trimmed(q, kBlanks).empty();
}

Predicate PhotoFilter::predicate() const {
  Predicate all = predicates::shown();
  const auto add = [&](const auto& field, auto* condition) {
    if (field) {
      all = all && condition(*field);
    }
  };
  add(year, predicates::year);
  add(mediaType, predicates::mediaType);
  add(ext, predicates::ext);
  add(color, predicates::colour);
  add(country, predicates::country);
  add(favorite, predicates::favourite);
  add(size, predicates::size);
  add(tag, predicates::tag);
  add(label, predicates::label);
  if (noCamera) {
    all = all && predicates::noCamera();
  } else {
    add(camera, predicates::camera);
  }
  return all && predicates::search(trimmed(q, kBlanks));
}

}  // namespace vaultmere
