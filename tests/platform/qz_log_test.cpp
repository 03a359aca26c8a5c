// qz_log: line format, sessions and stderr mirror, file fallback, rotation, concurrent
// writers.
#include "qz_log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::vector<std::string> lines_of(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  std::vector<std::string> out;
  for (std::string line; std::getline(in, line);) out.push_back(line);
  return out;
}

void set_env(const char *name, const char *value) {
#ifdef _WIN32
  _putenv_s(name, value ? value : "");
#else
  value ? setenv(name, value, 1) : unsetenv(name);
#endif
}

// The variable that names the temporary directory (GetTempPath reads TMP on Windows).
#ifdef _WIN32
constexpr char kTempVar[] = "TMP";
#else
constexpr char kTempVar[] = "TMPDIR";
#endif

class QzLog : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() / ("qz_log_test_" + std::to_string(std::random_device{}()) + "_" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root_);
    fs::create_directories(root_);
    if (const char *tmp = std::getenv(kTempVar)) saved_tmpdir_ = tmp;
  }
  void TearDown() override {
    for (; opened_ > 0; --opened_) qz_log_uninit();
    set_env(kTempVar, saved_tmpdir_ ? saved_tmpdir_->c_str() : nullptr);
    set_env("QZ_LOG_STDERR", nullptr);
    std::error_code ec;
    fs::remove_all(root_, ec);
  }
  bool init(const fs::path &dir, int keep = 7, int size = 200) {
    const bool ok = qz_log_init(dir.string().c_str(), keep, size);
    opened_ += ok ? 1 : 0;
    return ok;
  }
  void uninit() {
    qz_log_uninit();
    if (opened_ > 0) --opened_;
  }
  fs::path log_file() const { return root_ / "log" / "qz.log"; }
  fs::path root_;
  int opened_ = 0;
  std::optional<std::string> saved_tmpdir_;
};

const std::regex kLine(
    R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} (DEBUG|INFO|NOTICE|WARN|ERROR|L-?\d+) (\S+) (\S+):(-?\d+) (\S+): (.*)$)");

TEST_F(QzLog, WritesOneLinePerRecordInTheLogFolder) {
  ASSERT_TRUE(init(root_));
  qz_log_print(1, "net_dev_setting", "src/a.cpp", 12, "NetDevSetting::connect", "device is %s", "conncted");
  qz_log_print(4, "m", "f.cpp", 34, "fn", "value = %d\n", 25);  // a doubled newline adds a line
  for (int level : {0, 2, 3, 9}) qz_log_print(level, "m", "f.cpp", 1, "fn", "x");
  const std::string long_text(5000, 'q');
  qz_log_print(1, "m", "f.cpp", 1, "fn", "<%s>", long_text.c_str());
  qz_log_print(1, nullptr, nullptr, 0, nullptr, nullptr);

  const auto lines = lines_of(log_file());
  ASSERT_EQ(lines.size(), 8u);
  EXPECT_EQ(lines[7].substr(24), "INFO - -:0 -: ");
  std::smatch m;
  ASSERT_TRUE(std::regex_match(lines[0], m, kLine)) << lines[0];
  EXPECT_EQ(std::vector<std::string>(m.begin() + 1, m.end()),
            (std::vector<std::string>{"INFO", "net_dev_setting", "src/a.cpp", "12", "NetDevSetting::connect",
                                      "device is conncted"}));
  const char *names[] = {"INFO", "ERROR", "DEBUG", "NOTICE", "WARN", "L9"};
  for (std::size_t i = 0; i < 6; ++i) {
    ASSERT_TRUE(std::regex_match(lines[i], m, kLine)) << lines[i];
    EXPECT_EQ(m[1], names[i]);
  }
  // No regex over the long line: std::regex recurses per character and
  // overflows the 1 MiB stack of a Windows main thread.
  EXPECT_TRUE(lines[6].ends_with(" INFO m f.cpp:1 fn: <" + long_text + ">")) << lines[6].substr(0, 60);
}

// Records printed while no session is open reach only the stderr mirror.
TEST_F(QzLog, SessionsAreCountedAndStderrMirrorsEveryRecord) {
  set_env("QZ_LOG_STDERR", "1");
  ASSERT_TRUE(init(root_));
  ::testing::internal::CaptureStderr();
  EXPECT_TRUE(init(root_ / "ignored"));  // already open: counted, arguments ignored
  EXPECT_FALSE(fs::exists(root_ / "ignored"));
  qz_log_print(1, "m", "f.cpp", 1, "fn", "one");
  uninit();
  qz_log_print(1, "m", "f.cpp", 2, "fn", "two");  // one session still alive
  uninit();
  qz_log_print(4, "m", "f.cpp", 3, "fn", "three");  // closed: not written
  qz_log_uninit();                                  // never below zero
  EXPECT_TRUE(init(root_));
  qz_log_print(1, "m", "f.cpp", 4, "fn", "four");
  uninit();
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("INFO m f.cpp:1 fn: one\n"), std::string::npos) << err;
  EXPECT_NE(err.find("ERROR m f.cpp:3 fn: three\n"), std::string::npos) << err;
  const auto lines = lines_of(log_file());
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_TRUE(lines[0].ends_with("fn: one"));
  EXPECT_TRUE(lines[1].ends_with("fn: two"));
  EXPECT_TRUE(lines[2].ends_with("fn: four"));
}

TEST_F(QzLog, FallsBackToTheTemporaryDirectoryAndFailsWhenThatFailsToo) {
  // A directory below a regular file can never be created.
  const fs::path blocker = root_ / "blocker";
  std::ofstream(blocker) << "x";
  set_env(kTempVar, (blocker / "tmp").string().c_str());
  EXPECT_FALSE(init(blocker / "app"));

  const fs::path tmp = root_ / "tmp";
  fs::create_directories(tmp);
  set_env(kTempVar, tmp.string().c_str());
  ASSERT_TRUE(init(blocker / "app"));
  qz_log_print(4, "m", "f.cpp", 1, "fn", "to the fallback");
  const auto lines = lines_of(tmp / "log" / "qz.log");
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].ends_with("fn: to the fallback"));
  // The failed init was not counted: one uninit closes the log.
  uninit();
  qz_log_print(1, "m", "f.cpp", 1, "fn", "after close");
  EXPECT_EQ(lines_of(tmp / "log" / "qz.log").size(), 1u);
}

TEST_F(QzLog, RotatesAtTheSizeLimitKeepingTheGivenNumberOfFiles) {
  ASSERT_TRUE(init(root_, 3, 1));  // 3 files of 1 MiB
  const std::string text(200, 'r');
  for (int i = 0; i < 20000; ++i) qz_log_print(1, "m", "f.cpp", i, "fn", "%06d %s", i, text.c_str());
  const fs::path dir = root_ / "log";
  for (const char *name : {"qz.log", "qz.1.log", "qz.2.log"}) {
    ASSERT_TRUE(fs::exists(dir / name)) << name;
    EXPECT_LE(fs::file_size(dir / name), 1u << 20) << name;
  }
  EXPECT_FALSE(fs::exists(dir / "qz.3.log"));
  const auto newest = lines_of(dir / "qz.log");
  ASSERT_FALSE(newest.empty());
  EXPECT_NE(newest.back().find("019999 "), std::string::npos);
  for (const auto &line : lines_of(dir / "qz.1.log")) ASSERT_TRUE(std::regex_match(line, kLine)) << line;
}

TEST_F(QzLog, ConcurrentPrintsWhileSessionsComeAndGoProduceWholeLines) {
  ASSERT_TRUE(init(root_));
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) qz_log_print(1, "m", "f.cpp", i, "fn", "thread %d line %d", t, i);
    });
  }
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(init(root_));
    uninit();
  }
  for (auto &th : threads) th.join();
  const auto lines = lines_of(log_file());
  EXPECT_EQ(lines.size(), 4000u);
  for (const auto &line : lines) ASSERT_TRUE(std::regex_match(line, kLine)) << line;
}

}  // namespace
