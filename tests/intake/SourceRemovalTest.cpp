// SPDX-License-Identifier: GPL-3.0-or-later
// Which sources a move removes, and which stay.
#include <fcntl.h>

#include <algorithm>
#include <cctype>

#include "intake/Ingestor.h"
#include "platform/Descriptor.h"
#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

using Outcome = IngestOutcome;

TEST(SourceRemoval, ReadsTheArchivedBytesBeforeASourceIsRemoved) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "good");
  const Ingestor ingestor = archive.ingestor();
  ASSERT_EQ(ingestor.process({source, {}, false, {}}, false).outcome, Outcome::inserted);
  const fs::path target = archive.root() / archive.rows()[0];
  writeText(target, "rott");
  // Copying trusts what is there; moving reads it.
  EXPECT_EQ(ingestor.process({source, {}, false, {}}, false).outcome, Outcome::duplicate);
  const auto moved = ingestor.process({source, {}, false, {}}, true);
  EXPECT_EQ(moved.outcome, Outcome::failed);
  EXPECT_EQ(moved.error, "hash mismatch for " + target.filename().string());
  EXPECT_TRUE(fs::exists(source));
}

TEST(SourceRemoval, KeepsSourcesThatMayNotBeRemoved) {
  struct Case {
    const char* name;
    std::string source = "a.jpg";
    std::string_view step;  ///< at which `action` comes
    std::size_t number = 1;
    std::function<void(Archive&, const fs::path& source)> action;
    const char* reason;
    Outcome outcome = Outcome::inserted;
  };
  const std::string id = Archive::hashOf("old bytes");
  const std::string archived = "2020/2020-02/" + id + ".jpg";
  const auto rewrite = [](Archive&, const fs::path& source) { writeText(source, "new bytes"); };
  std::optional<Descriptor> writer;
  const Case cases[] = {
      {"rewritten before it is copied", "a.jpg", "create", 1, rewrite, "", Outcome::failed},
      {"rewritten while it is copied", "a.jpg", "rename", 1, rewrite, "has changed"},
      {"rewritten before its row is there", "a.jpg", "commit", 1, rewrite, "has changed"},
      {"rewritten while the archive is looked at", "a.jpg", "lstat", 2, rewrite, "has changed"},
      {"opened for writing while the archive is looked at", "a.jpg", "lstat", 2,
       [&](Archive&, const fs::path& source) {
         writer.emplace(::open(source.c_str(), O_WRONLY | O_CLOEXEC));
       },
       "open for writing"},
      {"written to when the lease is there", "a.jpg", "unlink", 1,
       [&](Archive&, const fs::path& source) {
         const int other = ::open(source.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
         EXPECT_EQ(other, -1) << "a writer must wait for the removal";
         fs::rename(source, source.parent_path() / "aside.jpg");
       },
       "No such file"},
      {"archived file vanished", "a.jpg", "commit", 1,
       [&](Archive& archive, const fs::path&) { fs::remove(archive.root() / archived); },
       "out of reach"},
      {"archived file cut short", "a.jpg", "commit", 1,
       [&](Archive& archive, const fs::path&) { truncateFile(archive.root() / archived, 3); },
       "another size"},
      {"hard link of the archived file", "a.jpg", "lstat", 2,
       [&](Archive& archive, const fs::path& source) {
         fs::remove(source);
         fs::create_hard_link(archive.root() / archived, source);
       },
       "lies in the archive"},
      {"archived file by another file system", id + ".jpg", "never", 1, nullptr,
       "an archived file"},
      {"its name in capitals", "", "never", 1, nullptr, "an archived file"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const LogCapture log;
    Archive archive;
    std::string capitals = id + ".JPG";
    std::transform(capitals.begin(), capitals.end(), capitals.begin(), ::toupper);
    const fs::path source = archive.source(c.source.empty() ? capitals : c.source, "old bytes");
    const Ingestor ingestor = archive.ingestor();
    const auto plan = FaultPlan::doing(c.step, c.number, [&] { c.action(archive, source); });
    EXPECT_EQ(ingestor.process({source, {}, false, {}}, true).outcome, c.outcome);
    EXPECT_EQ(plan.wasHit(), c.action != nullptr);
    EXPECT_EQ(filesBelow(archive.sources()).size(), 1U);
    EXPECT_TRUE(c.outcome == Outcome::failed || log.contains(c.reason));
    writer.reset();
  }
}

TEST(SourceRemoval, KeepsTheArchivesFilesUnderAnyPath) {
  const LogCapture log;
  Archive archive;
  const Ingestor ingestor = archive.ingestor();
  (void)archive.source("a.heic", "still");
  (void)archive.source("a.mov", "moves");
  (void)ingestor.ingestFolder(archive.sources(), true);
  ASSERT_TRUE(filesBelow(archive.sources()).empty());
  const Strings before = archive.files();
  fs::create_directory_symlink(archive.root(), archive.folder / "alias");
  for (const std::string& file : before) {
    (void)ingestor.process({archive.folder / "alias" / file, {}, false, {}}, true);
  }
  for (const std::string& file : before) {
    EXPECT_TRUE(fs::exists(archive.root() / file)) << file;
  }
  EXPECT_TRUE(ingestor.ingestFolder(archive.root(), true).empty());
  // As a merged or networked file system shows them: equal names, other inodes.
  // The motion file alone isn't its name's hash, but the archive holds that.
  fs::copy(archive.root(), archive.sources() / "merged", fs::copy_options::recursive);
  fs::create_directories(archive.sources() / "alone");
  const fs::path merged = archive.sources() / "merged/2020/2020-02";
  fs::copy(merged / (Archive::hashOf("still") + ".mov"), archive.sources() / "alone");
  const std::size_t shown = filesBelow(archive.sources()).size();
  (void)ingestor.ingestFolder(archive.sources(), true);
  EXPECT_EQ(filesBelow(archive.sources()).size(), shown);
  EXPECT_TRUE(log.contains("an archived file"));
}

TEST(SourceRemoval, StagedFilesInTheDataFolderAreRemoved) {
  Archive archive;
  const fs::path staged = archive.data() / "stream-tmp/run/a.jpg";
  writeText(staged, "x");
  const Ingestor ingestor = archive.ingestor();
  EXPECT_TRUE(ingestor.ingestFolder(staged.parent_path(), true).empty()) << "never scanned";
  EXPECT_EQ(ingestor.process({staged, {}, false, {}}, true).outcome, Outcome::inserted);
  EXPECT_FALSE(fs::exists(staged));
}

}  // namespace
}  // namespace vaultmere
