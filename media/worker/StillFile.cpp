// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/StillFile.h"

#include "media/worker/HeifOrientation.h"

namespace vaultmere {

const EmbeddedMetadata& StillFile::metadata() {
  return metadata_ ? *metadata_ : metadata_.emplace(file_, *format_);
}

VipsStill& StillFile::vips() { return vips_ ? *vips_ : vips_.emplace(file_, *format_); }

std::optional<int> StillFile::heifOrientation() {
  return heifOrientation_ ? *heifOrientation_
                          : heifOrientation_.emplace(vaultmere::heifOrientation(file_));
}

const std::optional<X3fFile>& StillFile::x3f() {
  return x3f_ ? *x3f_ : x3f_.emplace(readX3f(file_));
}

RawFile* StillFile::raw() { return (raw_ ? *raw_ : raw_.emplace(RawFile::open(file_))).get(); }

}  // namespace vaultmere
