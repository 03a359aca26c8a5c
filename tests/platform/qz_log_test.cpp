// qz_log: line format, sessions and stderr mirror, choice of the folder, no file logging,
// rotation, concurrent writers.
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
  _putenv_s(name, value ? value : "");  // "" removes the variable
#else
  value ? setenv(name, value, 1) : unsetenv(name);
#endif
}

// Every variable that steers the log; saved and cleared before each test, restored after.
constexpr const char *kLogVars[] = {"QZ_LOG_DIR",     "QZ_LOG", "QZ_LOG_STDERR",
                                    "XDG_STATE_HOME", "HOME",   "LOCALAPPDATA"};

class QzLog : public ::testing::Test {
 protected:
  void SetUp() override {
    root_ = fs::temp_directory_path() / ("qz_log_test_" + std::to_string(std::random_device{}()) + "_" +
                                         ::testing::UnitTest::GetInstance()->current_test_info()->name());
    fs::remove_all(root_);
    fs::create_directories(root_);
    for (const char *name : kLogVars) {
      const char *value = std::getenv(name);
      saved_.emplace_back(name, value ? std::optional<std::string>(value) : std::nullopt);
      set_env(name, nullptr);
    }
    set_env("QZ_LOG_DIR", root_.string().c_str());
  }
  void TearDown() override {
    for (; opened_ > 0; --opened_) qz_log_uninit();
    for (const auto &[name, value] : saved_) set_env(name, value ? value->c_str() : nullptr);
    std::error_code ec;
    fs::remove_all(root_, ec);
  }
  // The path argument, the executable's folder, must not choose the folder.
  bool init(int keep = 7, int size = 200) {
    const bool ok = qz_log_init((root_ / "exe").string().c_str(), keep, size);
    opened_ += ok ? 1 : 0;
    return ok;
  }
  void uninit() {
    qz_log_uninit();
    if (opened_ > 0) --opened_;
  }
  // Every log file below the test's folder.
  std::vector<fs::path> log_files() const {
    std::vector<fs::path> out;
    for (const auto &entry : fs::recursive_directory_iterator(root_)) {
      if (entry.path().filename() == "qz.log") out.push_back(entry.path());
    }
    return out;
  }
  fs::path log_file() const { return root_ / "qz.log"; }
  fs::path root_;
  int opened_ = 0;
  std::vector<std::pair<const char *, std::optional<std::string>>> saved_;
};

const std::regex kLine(
    R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} (DEBUG|INFO|NOTICE|WARN|ERROR|L-?\d+) (\S+) (\S+):(-?\d+) (\S+): (.*)$)");

TEST_F(QzLog, WritesOneLinePerRecordInTheLogFolder) {
  ASSERT_TRUE(init());
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
  ASSERT_TRUE(init());
  ::testing::internal::CaptureStderr();
  set_env("QZ_LOG_DIR", (root_ / "ignored").string().c_str());
  EXPECT_TRUE(init());  // already open: counted, folder unchanged
  EXPECT_FALSE(fs::exists(root_ / "ignored"));
  set_env("QZ_LOG_DIR", root_.string().c_str());
  qz_log_print(1, "m", "f.cpp", 1, "fn", "one");
  uninit();
  qz_log_print(1, "m", "f.cpp", 2, "fn", "two");  // one session still alive
  uninit();
  qz_log_print(4, "m", "f.cpp", 3, "fn", "three");  // closed: not written
  qz_log_uninit();                                  // never below zero
  EXPECT_TRUE(init());
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

// Each row sets every variable (null: unset; a leading '/' means below the test's folder)
// and logs its name once: a folder shared by two rows would hold two lines.
struct FolderCase {
  const char *name;
  std::vector<std::pair<const char *, const char *>> env;
  const char *folder;
};

TEST_F(QzLog, TheEnvironmentChoosesAPerUserFolder) {
#ifndef _WIN32
  // Relative, so not used; it names a folder below ours all the same.
  const std::string relative = fs::relative(root_ / "relative", fs::current_path()).string();
#endif
  const std::vector<FolderCase> cases = {
#ifdef _WIN32
      {"chosen", {{"QZ_LOG_DIR", "/chosen"}, {"LOCALAPPDATA", "/alice"}}, "chosen"},
      {"alice", {{"QZ_LOG_DIR", nullptr}, {"LOCALAPPDATA", "/alice"}}, "alice/qz_nds"},
      {"bob", {{"QZ_LOG_DIR", nullptr}, {"LOCALAPPDATA", "/bob"}}, "bob/qz_nds"},
#else
      {"chosen", {{"QZ_LOG_DIR", "/chosen"}, {"XDG_STATE_HOME", "/xdg"}, {"HOME", "/carol"}}, "chosen"},
      {"xdg", {{"QZ_LOG_DIR", ""}, {"XDG_STATE_HOME", "/xdg"}, {"HOME", "/carol"}}, "xdg/qz_nds"},
      {"alice",
       {{"QZ_LOG_DIR", nullptr}, {"XDG_STATE_HOME", relative.c_str()}, {"HOME", "/alice"}},
       "alice/.local/state/qz_nds"},
      {"bob",
       {{"QZ_LOG_DIR", nullptr}, {"XDG_STATE_HOME", nullptr}, {"HOME", "/bob"}},
       "bob/.local/state/qz_nds"},
#endif
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    for (const auto &[name, value] : c.env) {
      const std::string text = value && value[0] == '/' ? (root_ / (value + 1)).string() : value ? value : "";
      set_env(name, value ? text.c_str() : nullptr);
    }
    ASSERT_TRUE(init());
    qz_log_print(1, "m", "f.cpp", 1, "fn", "%s", c.name);
    uninit();
    const auto lines = lines_of(root_ / c.folder / "qz.log");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(lines[0].ends_with("fn: " + std::string(c.name))) << lines[0];
  }
  EXPECT_EQ(log_files().size(), cases.size());
#ifndef _WIN32
  for (const auto &entry : fs::recursive_directory_iterator(root_)) {
    if (entry.is_directory()) {
      EXPECT_EQ(entry.status().permissions() & (fs::perms::group_all | fs::perms::others_all),
                fs::perms::none)
          << entry.path();
    }
  }
#endif
}

// Without a usable folder a session still opens and records still reach the stderr mirror,
// but no file is written anywhere; only the first failure of the process is reported.
TEST_F(QzLog, WithoutAUsableFolderOrWhenTurnedOffNoFileIsWritten) {
  const fs::path blocker = root_ / "blocker";  // a folder below a regular file cannot be created
  std::ofstream(blocker) << "x";
  const std::string blocked = (blocker / "sub").string();
  const struct {
    const char *off;
    const char *dir;
    bool reported;
  } cases[] = {
      {"off", nullptr, false},      {"OFF", nullptr, false},        {"0", nullptr, false},
      {"False", nullptr, false},    {"no", blocked.c_str(), false}, {nullptr, blocked.c_str(), true},
      {"", blocked.c_str(), false},  // reported once per process, not per session
  };
  set_env("QZ_LOG_STDERR", "1");
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string(c.off ? c.off : "(unset)") + " " + (c.dir ? c.dir : ""));
    set_env("QZ_LOG", c.off);
    if (c.dir) set_env("QZ_LOG_DIR", c.dir);
    ::testing::internal::CaptureStderr();
    ASSERT_TRUE(init());
    qz_log_print(3, "m", "f.cpp", 1, "fn", "still shown");
    uninit();
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("fn: still shown\n"), std::string::npos) << err;
    const auto report = err.find("qz_log: file logging is off: cannot create");
    EXPECT_EQ(report != std::string::npos, c.reported) << err;
    if (c.reported) {
      EXPECT_NE(err.find(blocker.string(), report), std::string::npos) << err;
    }
    EXPECT_TRUE(log_files().empty());
  }
  EXPECT_FALSE(fs::exists(blocker / "sub"));
}

TEST_F(QzLog, RotatesAtTheSizeLimitKeepingTheGivenNumberOfFiles) {
  ASSERT_TRUE(init(3, 1));  // 3 files of 1 MiB
  const std::string text(200, 'r');
  for (int i = 0; i < 20000; ++i) qz_log_print(1, "m", "f.cpp", i, "fn", "%06d %s", i, text.c_str());
  const fs::path &dir = root_;
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
  ASSERT_TRUE(init());
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) qz_log_print(1, "m", "f.cpp", i, "fn", "thread %d line %d", t, i);
    });
  }
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(init());
    uninit();
  }
  for (auto &th : threads) th.join();
  const auto lines = lines_of(log_file());
  EXPECT_EQ(lines.size(), 4000u);
  for (const auto &line : lines) ASSERT_TRUE(std::regex_match(line, kLine)) << line;
}

}  // namespace
