// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/IsoBmffReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "media/worker/ByteView.h"

// Boxes are those of ISO/IEC 14496-12, user data and keyed metadata those of the
// QuickTime file format, `loci` that of 3GPP TS 26.244.
namespace vaultmere {
namespace {

/// Movies have some hundred boxes; what is recorded in fragments has a dozen for
/// each second, of which hours are looked through.
constexpr int kMaxBoxes = 200'000;
constexpr std::size_t kMaxKeysBytes = std::size_t{64} << 10;
constexpr std::size_t kMaxRunsBytes = std::size_t{64} << 10;
/// A position takes some thirty bytes, and a place's name may stand before it.
constexpr std::size_t kMaxItemBytes = std::size_t{4} << 10;
constexpr std::size_t kMaxLocations = 100;
constexpr std::size_t kMaxTracks = 64;  // as the library

constexpr std::string_view kLocationKey = "com.apple.quicktime.location.ISO6709";
constexpr std::string_view kPositionAtom = "\xA9xyz";

/// A box's content, as a range of the file.
struct Box {
  std::string type;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

/// What the tables of one track, or of one fragment, say about its samples.
struct Tables {
  std::uint64_t samples = 0;
  std::uint64_t equalSamples = 0;  ///< those that have one size
  bool sound = false;
  bool other = false;   ///< pictures or texts
  bool steady = false;  ///< each sample lasts for one tick
  bool uneven = false;
  std::uint64_t chunks = 0;
  std::uint64_t largestChunk = 0;  ///< in samples

  /// How many places the library keeps. Old movies count the single values of
  /// sound at a constant rate, whatever few bytes those take when compressed; of
  /// these it keeps packets of at least 160, and each sample of all other tracks.
  [[nodiscard]] std::uint64_t kept() const {
    const bool inPackets = sound && !other && steady && !uneven;
    return samples + (inPackets ? chunks * (largestChunk / 160 + 1) : equalSamples);
  }
};

double fixedPoint(std::optional<std::uint64_t> bits) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(bits.value_or(0))) / 65536.0;
}

/// `loci`: a language, a name that ends with a zero, a role, then longitude,
/// latitude and altitude.
std::string positionOfLoci(std::string_view content) {
  constexpr std::size_t kName = 6;
  const ByteView view(content);
  const bool wide = view.number(kName, 2) == 0xFEFF || view.number(kName, 2) == 0xFFFE;
  const std::string_view zero("\0\0", wide ? 2 : 1);
  std::size_t end = kName;
  while (view.slice(end, zero.size()) != zero) {
    end += zero.size();
    if (end >= content.size()) {
      return {};
    }
  }
  const std::size_t role = end + zero.size();
  if (view.slice(role, 9).empty()) {
    return {};
  }
  return fmt::format("{:+.5f}{:+.5f}/", fixedPoint(view.number(role + 5, 4)),
                     fixedPoint(view.number(role + 1, 4)));
}

class BoxParser {
 public:
  explicit BoxParser(const File& file)
      : file_(file), size_(static_cast<std::uint64_t>(file.status().stamp.size)) {}

  IsoBmffItems walk() {
    each({{}, 0, size_}, [this](const Box& box) {
      if (box.type == "moov") {
        readMovie(box);
      } else if (box.type == "moof") {
        fragmented_ = true;
        addTables(box);
      }
      return true;
    });
    found_.absurd = samples_ > size_ || movieBoxes_ > kMaxBoxes || (fragmented_ && unnumbered_);
    return std::move(found_);
  }

 private:
  /// Calls `visit` with each box inside until it gives false.
  template <typename Visit>
  void each(const Box& parent, Visit&& visit) {
    std::uint64_t at = parent.begin;
    while (at < parent.end && parent.end - at >= 8) {
      if (++boxes_ > kMaxBoxes) {
        return;
      }
      const std::string bytes = readAt(file_, at, 16);
      const auto head = boxHead(bytes, parent.end - at);
      if (!head) {
        return;
      }
      const std::uint64_t end = at + std::min(head->size, parent.end - at);
      if (!visit(Box{std::string(head->type), std::min(at + head->header, end), end})) {
        return;
      }
      at = end;
    }
  }

  [[nodiscard]] std::string content(const Box& box, std::size_t limit) const {
    return readAt(file_, box.begin,
                  static_cast<std::size_t>(std::min<std::uint64_t>(limit, box.end - box.begin)));
  }

  void readMovie(const Box& movie) {
    each(movie, [this](const Box& box) {
      if (box.type == "mvhd") {
        readHeader(box);
      } else if (box.type == "trak") {
        readTrack(box);
      } else if (box.type == "udta") {
        readUserData(box);
      } else if (box.type == "meta") {
        readMeta(box);
      }
      return true;
    });
    movieBoxes_ = boxes_;
  }

  void readTrack(const Box& track) {
    std::uint64_t number = 0;
    each(track, [&](const Box& box) {
      if (box.type == "tkhd") {
        number = readTrackHeader(box);
      }
      return true;
    });
    unnumbered_ = unnumbered_ || number == 0 ||
                  number > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
    addTables(track);
  }

  /// The track's number; 0 without one.
  std::uint64_t readTrackHeader(const Box& box) {
    const std::string bytes = content(box, 96);
    const ByteView view(bytes);
    const bool wide = view.number(0, 1) == 1U;
    const std::size_t size = wide ? 88 : 76;
    const auto number = view.number(wide ? 20 : 12, 4).value_or(0);
    const double width = fixedPoint(view.number(size, 4));
    const double height = fixedPoint(view.number(size + 4, 4));
    if (width >= 1 && height >= 1 && found_.displaySizes.size() < kMaxTracks) {
      found_.displaySizes.push_back({number, width, height});
    }
    return number;
  }

  void readHeader(const Box& box) {
    const std::string bytes = content(box, 32);
    const ByteView view(bytes);
    found_.endless = view.number(0, 1) == 1U
                         ? view.number(24, 8) == std::numeric_limits<std::uint64_t>::max()
                         : view.number(16, 4) == std::numeric_limits<std::uint32_t>::max();
  }

  void addTables(const Box& parent) {
    Tables tables;
    readTables(parent, tables);
    samples_ += std::min(tables.kept(), size_ + 1);  // which is too many already
  }

  /// The tables lie in boxes that lie in one another.
  void readTables(const Box& parent, Tables& tables, int depth = 0) {
    each(parent, [&](const Box& box) {
      const bool holds =
          box.type == "mdia" || box.type == "minf" || box.type == "stbl" || box.type == "traf";
      if (holds && depth < 3) {
        readTables(box, tables, depth + 1);
      } else {
        readTable(box, tables);
      }
      return true;
    });
  }

  void readTable(const Box& box, Tables& tables) const {
    const std::string bytes = content(box, 16);
    const ByteView view(bytes);
    if (box.type == "hdlr") {
      const std::string_view kind = view.slice(8, 4);
      tables.sound |= kind == "soun";
      tables.other |= kind == "vide" || kind == "subp" || kind == "clcp";
    } else if (box.type == "stts") {
      const bool isSteady = view.number(4, 4) == 1U && view.number(12, 4) == 1U;
      tables.steady |= isSteady;
      tables.uneven |= !isSteady;
    } else if (box.type == "stsz" || box.type == "stz2") {
      const bool isEqual = box.type == "stsz" && view.number(4, 4).value_or(0) != 0;
      (isEqual ? tables.equalSamples : tables.samples) += view.number(8, 4).value_or(0);
    } else if (box.type == "stco" || box.type == "co64") {
      tables.chunks = std::max(tables.chunks, view.number(4, 4).value_or(0));
    } else if (box.type == "stsc") {
      readChunkSizes(box, tables);
    } else if (box.type == "trun") {
      tables.samples += view.number(4, 4).value_or(0);
    }
  }

  /// Sound at a constant rate has few runs of chunks.
  void readChunkSizes(const Box& box, Tables& tables) const {
    tables.uneven |= box.end - box.begin > kMaxRunsBytes;
    const std::string bytes = content(box, kMaxRunsBytes);
    const ByteView view(bytes);
    for (std::size_t at = 12; const auto samples = view.number(at, 4); at += 12) {
      tables.largestChunk = std::max(tables.largestChunk, *samples);
    }
  }

  void readUserData(const Box& data) {
    each(data, [this](const Box& box) {
      if (box.type == kPositionAtom) {  // length, language, text
        const std::string bytes = content(box, kMaxItemBytes);
        const ByteView view(bytes);
        const auto length = static_cast<std::size_t>(view.number(0, 2).value_or(0));
        add("\xC2\xA9xyz", view.slice(4, length));
      } else if (box.type == "loci") {
        add("loci", positionOfLoci(content(box, kMaxItemBytes)));
      } else if (box.type == "meta") {
        readMeta(box);
      }
      return true;
    });
  }

  /// Without version and flags in QuickTime files, with them in others.
  void readMeta(Box meta) {
    if (ByteView(readAt(file_, meta.begin, 8)).slice(4, 4) != "hdlr") {
      meta.begin = std::min(meta.begin + 4, meta.end);
    }
    std::vector<std::string> keys;
    each(meta, [&](const Box& box) {
      if (box.type == "keys") {
        keys = readKeys(content(box, kMaxKeysBytes));
      } else if (box.type == "ilst") {
        readItems(box, keys);
      }
      return true;
    });
  }

  static std::vector<std::string> readKeys(const std::string& bytes) {
    const ByteView view(bytes);
    std::vector<std::string> keys;
    for (std::size_t at = 8; view.number(at, 4).value_or(0) >= 8;) {
      const auto size = static_cast<std::size_t>(view.number(at, 4).value_or(0));
      keys.emplace_back(view.slice(at + 8, size - 8));
      at += size;
    }
    return keys;
  }

  /// An item's type is its key's number, from 1; without keys it is the key.
  void readItems(const Box& list, const std::vector<std::string>& keys) {
    each(list, [&](const Box& item) {
      const auto number = ByteView(item.type).number(0, 4).value_or(0);
      const bool keyed = number >= 1 && number <= keys.size();
      const std::string key = keyed ? keys[static_cast<std::size_t>(number) - 1] : "";
      if (key == kLocationKey || (keys.empty() && item.type == kPositionAtom)) {
        add(keyed ? key : "\xC2\xA9xyz", dataOf(item));
      }
      return true;
    });
  }

  /// The item's first value; its type, 1 for UTF-8, and locale stand before it.
  std::string dataOf(const Box& item) {
    std::string text;
    each(item, [&](const Box& box) {
      if (box.type != "data") {
        return true;
      }
      const std::string bytes = content(box, kMaxItemBytes);
      if (ByteView(bytes).number(0, 4) == 1U && bytes.size() > 8) {
        text = bytes.substr(8);
      }
      return false;
    });
    return text;
  }

  void add(std::string_view key, std::string_view text) {
    if (found_.locations.size() < kMaxLocations) {
      found_.locations.push_back({std::string(key), std::string(text)});
    }
  }

  const File& file_;
  const std::uint64_t size_;
  int boxes_ = 0;
  int movieBoxes_ = 0;  ///< those up to the end of the `moov`
  std::uint64_t samples_ = 0;
  bool fragmented_ = false;
  bool unnumbered_ = false;  ///< a track is
  IsoBmffItems found_;
};

}  // namespace

IsoBmffItems readIsoBmffItems(const File& file) { return BoxParser(file).walk(); }

}  // namespace vaultmere
