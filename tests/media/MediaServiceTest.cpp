// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <functional>
#include <future>
#include <memory>
#include <utility>

#include "platform/Text.h"
#include "tests/media/FaultyMedia.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

/// A still's properties, and its pixels of at most 8 each way.
MediaRequest everything(std::chrono::milliseconds timeout = 5s) {
  return {.wantsProperties = true, .pictures = {{.maxPixels = 8}}, .timeout = timeout};
}

class MediaServiceTest : public testing::Test {
 protected:
  MediaServiceTest() { start(faultyMediaOptions()); }

  void start(MediaPool::Options options) {
    media.reset();
    log.clear();
    media = std::make_unique<MediaService>(std::move(options));
  }

  MediaAnswer read(const std::string& content, const MediaRequest& request = everything(),
                   std::string_view hash = {}, Priority priority = Priority::foreground) {
    writeText(path(++files), content);
    return readAt(path(files), request, hash, priority);
  }
  /// No name that is text.
  fs::path path(int number) const { return folder / ("file \xFF " + std::to_string(number)); }

  MediaAnswer readAt(const fs::path& path, const MediaRequest& request = everything(),
                     std::string_view hash = {}, Priority priority = Priority::foreground) {
    const File file = File::openForReading(path);
    return media->read({file, hash}, request, priority);
  }
  bool answersWell() {
    const MediaAnswer answer = read("well");
    return answer.still && answer.pictures.at(0) && !answer.failure;
  }
  /// Those that this test has started.
  std::vector<std::pair<pid_t, char>> processes() const {
    auto children = childProcesses();
    std::erase_if(children, [&](const auto& child) {
      return std::any_of(others.begin(), others.end(),
                         [&](const auto& other) { return other.first == child.first; });
    });
    return children;
  }
  /// The one process that runs, idle.
  pid_t theProcess() const {
    std::vector<std::pair<pid_t, char>> children;
    EXPECT_TRUE(eventually([&] {
      children = processes();
      return children.size() == 1 && children[0].second == 'S';
    }));
    return children.at(0).first;
  }
  bool nothingRuns() const {
    return eventually([&] { return processes().empty(); });
  }

  const std::vector<std::pair<pid_t, char>> others = childProcesses();  ///< of other tests
  TemporaryFolder folder;
  LogCapture log;
  std::unique_ptr<MediaService> media;
  int files = 0;
};

struct FaultRow {
  const char* fault;
  MediaFailure failure;
  const char* words;
  bool hasProperties = false;  ///< that were answered before
  std::chrono::milliseconds timeout = 5s;
};

constexpr auto kCrashed = MediaFailure::crashed;
constexpr auto kWrong = MediaFailure::answeredWrongly;
constexpr const char* kWrongWords = "decoder answered wrongly";
constexpr const char* kCrashWords = "decoder crashed (SIGSEGV)";

const std::vector<FaultRow> kFaultRows{
    {"crash", kCrashed, kCrashWords},
    {"abort", kCrashed, "decoder crashed (SIGABRT)"},
    {"exit", kCrashed, "decoder ended (status 7)"},
    {"facts-then-crash", kCrashed, kCrashWords, true},
    {"close", kCrashed, "decoder closed its connection"},
    {"hang", MediaFailure::tookTooLong, "took too long", false, 50ms},
    {"memory", MediaFailure::tooMuchMemory, "too much memory"},
    {"no-memory", MediaFailure::tooMuchMemory, "too much memory"},
    {"garbage", kWrong, kWrongWords},
    {"nested", kWrong, kWrongWords},
    {"long", kWrong, kWrongWords},
    {"version", kWrong, kWrongWords},
    {"ready-again", kWrong, kWrongWords},
    {"video", kWrong, kWrongWords},
    {"facts-with-file", kWrong, kWrongWords},
    {"picture-first", kWrong, kWrongWords},
    {"facts-twice", kWrong, kWrongWords, true},
    {"no-file", kWrong, kWrongWords, true},
    {"file-without-picture", kWrong, kWrongWords, true},
    {"regular-file", kWrong, kWrongWords, true},
    {"pipe", kWrong, kWrongWords, true},
    {"unsealed", kWrong, kWrongWords, true},
    {"half-sealed", kWrong, kWrongWords, true},
    {"short", kWrong, kWrongWords, true},
    {"surplus", kWrong, kWrongWords, true},
    {"hash", kWrong, kWrongWords, true},
    {"wrong-bytes", kWrong, kWrongWords, true},
    {"side-0", kWrong, kWrongWords, true},
    {"side-9", kWrong, kWrongWords, true},
    {"huge-side", kWrong, kWrongWords, true},
    {"huge-bytes", kWrong, kWrongWords, true},
};

TEST_F(MediaServiceTest, AFaultCostsItsFileNoMoreThanItsAnswer) {
  ASSERT_TRUE(answersWell());
  const std::size_t descriptors = openDescriptors();
  for (const FaultRow& row : kFaultRows) {
    SCOPED_TRACE(row.fault);
    log.clear();
    const MediaAnswer answer = read(row.fault, everything(row.timeout), row.fault);
    EXPECT_EQ(answer.failure, row.failure);
    EXPECT_EQ(answer.still.has_value(), row.hasProperties);
    ASSERT_EQ(answer.pictures.size(), 1U);
    EXPECT_FALSE(answer.pictures[0]);
    const std::string line = "Vaultmere: " + std::string(row.words) + " — ";
    EXPECT_EQ(log.lines(), Strings{line + displayPath(path(files))});
    // Asked neither by its path nor, elsewhere, by its content.
    EXPECT_EQ(readAt(path(files)).failure, row.failure);
    EXPECT_EQ(read("other", everything(), row.fault).failure, row.failure);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(answersWell());
    theProcess();
    EXPECT_EQ(openDescriptors(), descriptors);
  }
  media.reset();
  EXPECT_TRUE(nothingRuns());
}

TEST_F(MediaServiceTest, AFileWhoseDriveWentAwayIsReadAgain) {
  EXPECT_EQ(read("unmapped").failure, MediaFailure::unreadable);
  EXPECT_EQ(read("unmapped", everything(), "unmapped").failure, MediaFailure::unreadable);
  EXPECT_FALSE(read("well", everything(), "unmapped").failure);
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST_F(MediaServiceTest, AProcessThatEndsBetweenTwoFilesCostsNone) {
  const std::pair<const char*, std::function<void()>> rows[] = {
      {"killed", [this] { ::kill(theProcess(), SIGKILL); }},
      {"answered, and ended", [this] { EXPECT_FALSE(read("answer-then-exit").failure); }},
      {"answered too much", [this] { EXPECT_FALSE(read("one-too-many").failure); }},
  };
  for (const auto& [name, end] : rows) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(answersWell());
    const pid_t before = theProcess();
    end();
    EXPECT_TRUE(eventually([&] {
      const auto children = processes();
      return children.size() != 1 || children[0].second == 'Z' || children[0].second == 'S';
    }));
    EXPECT_TRUE(answersWell());
    EXPECT_NE(theProcess(), before);
    EXPECT_EQ(log.lines(), Strings{});
  }
}

TEST_F(MediaServiceTest, SaysWhyNothingCanBeRead) {
  const fs::path program = folder / "program";
  const auto install = [&] { fs::copy_file(VAULTMERE_FAULTY_MEDIA_PROGRAM, program); };
  struct Row {
    const char* name;
    const char* start;
    const char* why;
    std::function<void()> breaks;
    std::function<void()> mends;
  };
  const Row rows[] = {
      {"missing", "", "No such file or directory", [] {}, install},
      {"not executable", "", "Permission denied",
       [&] { fs::permissions(program, fs::perms::owner_read); },
       [&] { fs::permissions(program, fs::perms::owner_all); }},
      {"never ready", "never-ready", "took too long", [] {}, nullptr},
      {"another version", "other-version", "it is of another version", [] {}, nullptr},
      {"ends", "silent-end", "decoder ended (status 3)", [] {}, nullptr},
      {"crashes", "crash", "decoder crashed (SIGSEGV)", [] {}, nullptr},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    row.breaks();
    auto options = faultyMediaOptions(row.start);
    options.process.program = program;
    start(options);
    const std::string why = "start “" + program.string() + "”: " + row.why;
    EXPECT_EQ(media->problem(), "Photos and videos can't be read (" + why +
                                    "). If that lasts, install Vaultmere again.");
    EXPECT_THROW(static_cast<void>(media->decoderVersion()), MediaError);
    EXPECT_THROW(static_cast<void>(read("well", everything(), "hash")), MediaError);
    EXPECT_EQ(log.lines(), Strings{"Vaultmere: media process: " + why});
    EXPECT_TRUE(nothingRuns());
    if (row.mends) {
      row.mends();
      EXPECT_EQ(media->problem(), std::nullopt);
      EXPECT_FALSE(read("well", everything(), "hash").failure);
    }
  }
}

TEST_F(MediaServiceTest, AllThatWaitForAProcessHearThatThereIsNone) {
  auto options = faultyMediaOptions();
  options.process.program = folder / "missing";
  start(options);
  writeText(folder / "a", "well");
  std::vector<std::future<MediaAnswer>> calls;
  for (int i = 0; i < 20; ++i) {
    calls.push_back(std::async(std::launch::async, [this] { return readAt(folder / "a"); }));
  }
  for (auto& call : calls) {
    EXPECT_THROW(call.get(), MediaError);
  }
}

TEST_F(MediaServiceTest, ProcessesEndWithoutWorkAndAreReplacedAfterMuch) {
  auto options = faultyMediaOptions();
  options.idleTimeout = 50ms;
  start(options);
  EXPECT_FALSE(read("slow").failure);  // longer than that
  EXPECT_TRUE(nothingRuns());
  for (const bool byMemory : {false, true}) {
    SCOPED_TRACE(byMemory);
    options = faultyMediaOptions();
    options.maxRequests = byMemory ? 500 : 2;
    options.maxIdleBytes = byMemory ? 1 : options.maxIdleBytes;
    start(options);
    ASSERT_TRUE(answersWell());
    const pid_t first = byMemory ? -1 : theProcess();
    EXPECT_TRUE(answersWell());
    EXPECT_TRUE(nothingRuns());
    EXPECT_TRUE(answersWell());
    EXPECT_TRUE(byMemory || theProcess() != first);
  }
}

TEST_F(MediaServiceTest, BackgroundWorkKeepsNobodyWaiting) {
  auto options = faultyMediaOptions();
  options.foreground = 1;
  start(options);
  writeText(folder / "hang", "hang");
  auto background = std::async(std::launch::async, [this] {
    return readAt(folder / "hang", everything(60s), {}, Priority::background);
  });
  const pid_t hanging = theProcess();
  EXPECT_TRUE(answersWell());
  EXPECT_EQ(background.wait_for(0s), std::future_status::timeout);
  ::kill(hanging, SIGKILL);
  EXPECT_EQ(background.get().failure, MediaFailure::crashed);
}

TEST_F(MediaServiceTest, TooManyOpenFilesAreNoFaultOfTheFile) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "its companion opens a pipe to look at an exception's type";
#endif
  ASSERT_TRUE(answersWell());
  const fs::path path = folder / "a";
  writeText(path, "well");
  {
    const File file = File::openForReading(path);
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{100, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &few);
    std::vector<Descriptor> filling;
    for (int next = ::dup(0); next >= 0; next = ::dup(0)) {
      filling.emplace_back(next);
    }
    EXPECT_THROW(static_cast<void>(media->read({file, "hash"}, everything())), MediaError);
    ::setrlimit(RLIMIT_NOFILE, &before);
  }
  EXPECT_FALSE(readAt(path, everything(), "hash").failure);
}

TEST_F(MediaServiceTest, ProcessesInheritOneDescriptorAndNoSecrets) {
  const Descriptor open(::dup(0));  // not to be closed by an exec
  ::setenv("SECRET", "x", 1);
  ::setenv("LC_TIME", "C", 1);
  const MediaAnswer answer = read("inherited", {.wantsProperties = true});
  ::unsetenv("SECRET");
  ::unsetenv("LC_TIME");
  ASSERT_TRUE(answer.still);
  EXPECT_EQ(answer.still->exif.at("folder"), PropertyValue("/"));
  EXPECT_EQ(answer.still->exif.at("descriptors"), PropertyValue("0 1 2 3 4 "));  // 4: its file
  const auto environment = std::get<std::string>(answer.still->exif.at("environment"));
  EXPECT_NE(environment.find(" LC_TIME=C "), std::string::npos);
  for (const char* name : {" SECRET=", " PATH=", " HOME=", " LD_"}) {
    EXPECT_EQ(environment.find(name), std::string::npos) << environment;
  }
}

}  // namespace
}  // namespace vaultmere
