// SPDX-License-Identifier: GPL-3.0-or-later
#include <fstream>

#include "intake/ImportLog.h"
#include "platform/Uuid.h"
#include "tests/intake/Archive.h"

namespace vaultmere {
namespace {

class ImportLogTest : public testing::Test {
 protected:
  static ImportLogEntry entry(const std::string& name, std::optional<std::string> detail = {}) {
    return {newUuid(),    TimePoint(std::chrono::seconds(1'600'000'000)),
            "inserted",   name,
            "/x/" + name, std::move(detail),
            "intake"};
  }

  Strings names(std::size_t limit = 4000) {
    Strings list;
    for (const ImportLogEntry& e : log_.read(limit)) {
      list.push_back(e.filename);
    }
    return list;
  }

  TemporaryFolder folder_;
  fs::path file_ = folder_ / "import-log.jsonl";
  ThreadPool pool_{2};
  ImportLog log_{file_, pool_};
};

TEST_F(ImportLogTest, ReadsBackWhatWasAppendedNewestFirst) {
  EXPECT_TRUE(log_.read(10).empty());
  const ImportLogEntry odd = entry("line\nbreak “q” \".jpg", "because");
  log_.append({entry("a"), entry("b")});
  log_.append({});
  log_.append({odd});
  EXPECT_EQ(names(), (Strings{odd.filename, "b", "a"}));
  EXPECT_EQ(log_.read(1).at(0), odd);
  const std::string text = slurp(file_);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 3);
  EXPECT_NE(text.find(R"("date":"2020-09-13T12:26:40Z")"), std::string::npos);
  EXPECT_EQ(text.find("detail"), text.rfind("detail"));  // only where there is one
  log_.clear();
  log_.clear();
  EXPECT_TRUE(log_.read(10).empty());
}

TEST_F(ImportLogTest, PassesOverBadLines) {
  log_.append({entry("a")});
  std::ofstream(file_, std::ios::app)
      << "garbage\n\n{\"id\":1}\n[]\n{\"id\":\"x\",\"date\":\"2020\",\"kind\":\"\",\"filename\":"
         "\"f\",\"path\":\"\",\"source\":\"\"}\n"
      << R"({"id":"half a li)";
  log_.append({entry("b")});
  EXPECT_EQ(names(), (Strings{"b", "a"}));
}

TEST_F(ImportLogTest, ReadsTheLastLinesOfALargeFile) {
  // Some lines are longer than the pieces in which the file is read.
  std::vector<ImportLogEntry> entries;
  for (std::size_t i = 0; i < 400; ++i) {
    entries.push_back(entry(std::to_string(i), std::string(i % 100 == 7 ? 200'000 : i, 'd')));
  }
  log_.append(entries);
  std::ofstream(file_, std::ios::app) << "\n\n";
  for (const std::size_t limit : {0U, 1U, 93U, 94U, 200U, 399U, 400U, 401U}) {
    const auto read = log_.read(limit);
    ASSERT_EQ(read.size(), std::min<std::size_t>(limit, 400)) << limit;
    EXPECT_TRUE(std::equal(read.begin(), read.end(), entries.rbegin())) << limit;
  }
}

TEST_F(ImportLogTest, IgnoresALogThatCannotBeWritten) {
  ImportLog nowhere(folder_ / "absent" / "log", pool_);
  nowhere.append({entry("a")});
  EXPECT_TRUE(nowhere.read(5).empty());
}

}  // namespace
}  // namespace vaultmere
