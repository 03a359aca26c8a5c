// qz_log: session counting, file location and fallback, line format, sink, stderr mirror.
#include "qz_log.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#ifndef _WIN32
#include <unistd.h>
#endif
#include <filesystem>
#include <fstream>
#include <mutex>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "qz_log_sink.h"

namespace {

namespace fs = std::filesystem;

struct Record {
  int level;
  std::string module, file;
  int line;
  std::string function, message;
};

struct Sink {
  std::mutex mutex;
  std::vector<Record> records;
  static void fn(void *user, int level, const char *module, const char *file, int line, const char *function,
                 const char *message) {
    auto *self = static_cast<Sink *>(user);
    std::lock_guard<std::mutex> lock(self->mutex);
    self->records.push_back({level, module, file, line, function, message});
  }
};

std::string read_file(const fs::path &p) {
  std::ifstream in(p, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

std::vector<std::string> lines_of(const std::string &text) {
  std::vector<std::string> out;
  std::stringstream ss(text);
  std::string line;
  while (std::getline(ss, line)) out.push_back(line);
  return out;
}

void set_env(const char *name, const char *value) {
#ifdef _WIN32
  _putenv_s(name, value ? value : "");
#else
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
#endif
}

// The variable that names the temporary directory: TMPDIR on POSIX, TMP on
// Windows (read by GetTempPath).
#ifdef _WIN32
constexpr char kTempVar[] = "TMP";
#else
constexpr char kTempVar[] = "TMPDIR";
#endif

class QzLog : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto *info = ::testing::UnitTest::GetInstance()->current_test_info();
    root_ = fs::temp_directory_path() / ("qz_log_test_" +
                                         std::to_string(
#ifdef _WIN32
                                             0
#else
                                             getpid()
#endif
                                             ) +
                                         "_" + info->name());
    fs::remove_all(root_);
    fs::create_directories(root_);
    const char *tmp = std::getenv(kTempVar);
    saved_tmpdir_ = tmp ? std::optional<std::string>(tmp) : std::nullopt;
  }
  void TearDown() override {
    qz_log_set_sink(nullptr, nullptr);
    for (int i = 0; i < opened_; ++i) qz_log_uninit();
    set_env(kTempVar, saved_tmpdir_ ? saved_tmpdir_->c_str() : nullptr);
    set_env("QZ_LOG_STDERR", nullptr);
    std::error_code ec;
    fs::remove_all(root_, ec);
  }
  bool init(const fs::path &dir, int keep = 7, int size = 200) {
    const bool ok = qz_log_init(dir.string().c_str(), keep, size);
    if (ok) ++opened_;
    return ok;
  }
  void uninit() {
    qz_log_uninit();
    if (opened_ > 0) --opened_;
  }
  fs::path root_;
  int opened_ = 0;
  std::optional<std::string> saved_tmpdir_;
};

const std::regex kLine(
    R"(^\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\.\d{3} (DEBUG|INFO|NOTICE|WARN|ERROR|L-?\d+) (\S+) (\S+):(-?\d+) (\S+): (.*)$)");

TEST_F(QzLog, WritesLinesToLogFolderInTheGivenDirectory) {
  ASSERT_TRUE(init(root_));
  qz_log_print(1, "net_dev_setting", "src/a.cpp", 12, "NetDevSetting::connect", "device is %s", "conncted");
  qz_log_print(4, "net_dev_setting", "src/b.cpp", 34, "qz_nds_set_framerate", "value = %d\n", 25);
  const fs::path file = root_ / "log" / "qz.log";
  ASSERT_TRUE(fs::exists(file));
  const auto lines = lines_of(read_file(file));
  ASSERT_EQ(lines.size(), 2u);
  std::smatch m;
  ASSERT_TRUE(std::regex_match(lines[0], m, kLine)) << lines[0];
  EXPECT_EQ(m[1], "INFO");
  EXPECT_EQ(m[2], "net_dev_setting");
  EXPECT_EQ(m[3], "src/a.cpp");
  EXPECT_EQ(m[4], "12");
  EXPECT_EQ(m[5], "NetDevSetting::connect");
  EXPECT_EQ(m[6], "device is conncted");
  ASSERT_TRUE(std::regex_match(lines[1], m, kLine)) << lines[1];
  EXPECT_EQ(m[1], "ERROR");
  EXPECT_EQ(m[6], "value = 25");  // the trailing newline is not doubled
  EXPECT_EQ(read_file(file).back(), '\n');
  EXPECT_EQ(read_file(file).find("\n\n"), std::string::npos);
}

TEST_F(QzLog, LevelNames) {
  Sink sink;
  ASSERT_TRUE(init(root_));
  for (int level : {0, 1, 2, 3, 4, 9}) qz_log_print(level, "m", "f.cpp", 1, "fn", "x");
  const auto lines = lines_of(read_file(root_ / "log" / "qz.log"));
  ASSERT_EQ(lines.size(), 6u);
  const char *names[] = {"DEBUG", "INFO", "NOTICE", "WARN", "ERROR", "L9"};
  for (std::size_t i = 0; i < 6; ++i) {
    std::smatch m;
    ASSERT_TRUE(std::regex_match(lines[i], m, kLine)) << lines[i];
    EXPECT_EQ(m[1], names[i]);
  }
}

TEST_F(QzLog, SessionsAreCounted) {
  const fs::path file = root_ / "log" / "qz.log";
  ASSERT_TRUE(init(root_));
  ASSERT_TRUE(init(root_ / "ignored"));  // already open: counted, arguments ignored
  EXPECT_FALSE(fs::exists(root_ / "ignored"));
  qz_log_print(1, "m", "f.cpp", 1, "fn", "one");
  uninit();
  qz_log_print(1, "m", "f.cpp", 1, "fn", "two");  // one session still alive
  uninit();
  qz_log_print(1, "m", "f.cpp", 1, "fn", "three");  // closed: not written
  qz_log_uninit();                                  // never below zero
  qz_log_uninit();
  ASSERT_TRUE(init(root_));
  qz_log_print(1, "m", "f.cpp", 1, "fn", "four");
  uninit();
  qz_log_print(1, "m", "f.cpp", 1, "fn", "five");
  const auto lines = lines_of(read_file(file));
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_NE(lines[0].find("one"), std::string::npos);
  EXPECT_NE(lines[1].find("two"), std::string::npos);
  EXPECT_NE(lines[2].find("four"), std::string::npos);
}

TEST_F(QzLog, FallsBackToTheTemporaryDirectory) {
  // A directory below a regular file can never be created.
  const fs::path blocker = root_ / "blocker";
  std::ofstream(blocker) << "x";
  const fs::path tmp = root_ / "tmp";
  fs::create_directories(tmp);
  set_env(kTempVar, tmp.string().c_str());
  ASSERT_TRUE(init(blocker / "app"));
  qz_log_print(4, "m", "f.cpp", 1, "fn", "to the fallback");
  const fs::path file = tmp / "log" / "qz.log";
  ASSERT_TRUE(fs::exists(file));
  EXPECT_NE(read_file(file).find("to the fallback"), std::string::npos);
}

TEST_F(QzLog, InitFailsWhenNoLocationIsWritable) {
  const fs::path blocker = root_ / "blocker";
  std::ofstream(blocker) << "x";
  set_env(kTempVar, (blocker / "tmp").string().c_str());
  EXPECT_FALSE(init(blocker / "app"));
  // Nothing counted: a later good init opens the file, one uninit closes it.
  ASSERT_TRUE(init(root_));
  uninit();
  qz_log_print(1, "m", "f.cpp", 1, "fn", "after close");
  EXPECT_EQ(read_file(root_ / "log" / "qz.log"), "");
}

TEST_F(QzLog, SinkGetsEveryRecordEvenWithoutAnOpenLog) {
  Sink sink;
  qz_log_set_sink(&Sink::fn, &sink);
  qz_log_print(4, "net_dev_setting", "src/x.cpp", 77, "NetDevSetting::on_data",
               "total data len = %d is error", 27);
  const std::string long_text(10000, 'z');
  qz_log_print(1, "m", "f.cpp", 2, "fn", "%s!\n", long_text.c_str());
  qz_log_set_sink(nullptr, nullptr);
  qz_log_print(1, "m", "f.cpp", 3, "fn", "not seen");
  ASSERT_EQ(sink.records.size(), 2u);
  EXPECT_EQ(sink.records[0].level, 4);
  EXPECT_EQ(sink.records[0].module, "net_dev_setting");
  EXPECT_EQ(sink.records[0].file, "src/x.cpp");
  EXPECT_EQ(sink.records[0].line, 77);
  EXPECT_EQ(sink.records[0].function, "NetDevSetting::on_data");
  EXPECT_EQ(sink.records[0].message, "total data len = 27 is error");
  EXPECT_EQ(sink.records[1].message, long_text + "!");
}

TEST_F(QzLog, LongMessagesReachTheFileWhole) {
  ASSERT_TRUE(init(root_));
  const std::string long_text(5000, 'q');
  qz_log_print(1, "m", "f.cpp", 1, "fn", "<%s>", long_text.c_str());
  const auto lines = lines_of(read_file(root_ / "log" / "qz.log"));
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("<" + long_text + ">"), std::string::npos);
}

TEST_F(QzLog, StderrMirror) {
  set_env("QZ_LOG_STDERR", "1");
  ASSERT_TRUE(init(root_));
  ::testing::internal::CaptureStderr();
  qz_log_print(1, "m", "f.cpp", 5, "fn", "mirrored line");
  const std::string err = ::testing::internal::GetCapturedStderr();
  EXPECT_NE(err.find("INFO m f.cpp:5 fn: mirrored line\n"), std::string::npos) << err;
  EXPECT_NE(read_file(root_ / "log" / "qz.log").find("mirrored line"), std::string::npos);

  // Without any open log the mirror still prints.
  uninit();
  ::testing::internal::CaptureStderr();
  qz_log_print(4, "m", "f.cpp", 6, "fn", "no file open");
  EXPECT_NE(::testing::internal::GetCapturedStderr().find("ERROR m f.cpp:6 fn: no file open"),
            std::string::npos);

  // Switched off again by the next init.
  set_env("QZ_LOG_STDERR", nullptr);
  ASSERT_TRUE(init(root_));
  ::testing::internal::CaptureStderr();
  qz_log_print(1, "m", "f.cpp", 7, "fn", "quiet");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
}

TEST_F(QzLog, RotatesAtTheSizeLimit) {
  ASSERT_TRUE(init(root_, 3, 1));  // 3 files of 1 MiB
  const std::string text(200, 'r');
  for (int i = 0; i < 20000; ++i) qz_log_print(1, "m", "f.cpp", i, "fn", "%06d %s", i, text.c_str());
  const fs::path dir = root_ / "log";
  ASSERT_TRUE(fs::exists(dir / "qz.log"));
  ASSERT_TRUE(fs::exists(dir / "qz.1.log"));
  ASSERT_TRUE(fs::exists(dir / "qz.2.log"));
  EXPECT_FALSE(fs::exists(dir / "qz.3.log"));
  for (const char *name : {"qz.log", "qz.1.log", "qz.2.log"})
    EXPECT_LE(fs::file_size(dir / name), 1u << 20) << name;
  // The newest line is in qz.log, whole lines everywhere.
  const auto newest = lines_of(read_file(dir / "qz.log"));
  ASSERT_FALSE(newest.empty());
  EXPECT_NE(newest.back().find("019999 "), std::string::npos);
  for (const auto &line : lines_of(read_file(dir / "qz.1.log"))) ASSERT_TRUE(std::regex_match(line, kLine));
}

TEST_F(QzLog, ConcurrentPrintsProduceWholeLines) {
  ASSERT_TRUE(init(root_));
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 500; ++i) qz_log_print(1, "m", "f.cpp", i, "fn", "thread %d line %d", t, i);
    });
  }
  // Sessions come and go meanwhile.
  for (int i = 0; i < 100; ++i) {
    ASSERT_TRUE(init(root_));
    uninit();
  }
  for (auto &th : threads) th.join();
  const auto lines = lines_of(read_file(root_ / "log" / "qz.log"));
  EXPECT_EQ(lines.size(), 4000u);
  for (const auto &line : lines) ASSERT_TRUE(std::regex_match(line, kLine)) << line;
}

TEST_F(QzLog, NullArgumentsAreTolerated) {
  Sink sink;
  qz_log_set_sink(&Sink::fn, &sink);
  qz_log_print(1, nullptr, nullptr, 0, nullptr, nullptr);
  ASSERT_EQ(sink.records.size(), 1u);
  EXPECT_EQ(sink.records[0].module, "-");
  EXPECT_EQ(sink.records[0].message, "");
}

}  // namespace
