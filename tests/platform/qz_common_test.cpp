// qz_common: the directory of the running executable.
#include "qz_common.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST(QzCommon, ReturnsTheTestBinaryDirectory) {
  char buffer[256];
  uint32_t size = sizeof(buffer);
  ASSERT_EQ(qz_get_exe_path(buffer, &size), 0);
  EXPECT_EQ(size, std::strlen(buffer));
  EXPECT_EQ(fs::canonical(buffer), fs::canonical(QZ_PLATFORM_TESTS_DIR));
}

TEST(QzCommon, RejectsNullArguments) {
  char buffer[256];
  uint32_t size = sizeof(buffer);
  EXPECT_NE(qz_get_exe_path(nullptr, &size), 0);
  EXPECT_NE(qz_get_exe_path(buffer, nullptr), 0);
}

TEST(QzCommon, RejectsTooSmallBufferWithoutWriting) {
  char full[4096];
  uint32_t full_size = sizeof(full);
  ASSERT_EQ(qz_get_exe_path(full, &full_size), 0);

  char buffer[4096];
  std::memset(buffer, 'x', sizeof(buffer));
  uint32_t size = full_size;  // no room for the NUL
  EXPECT_NE(qz_get_exe_path(buffer, &size), 0);
  EXPECT_EQ(size, full_size);
  for (char c : buffer) ASSERT_EQ(c, 'x');

  size = full_size + 1;  // exactly enough
  EXPECT_EQ(qz_get_exe_path(buffer, &size), 0);
  EXPECT_EQ(size, full_size);
  EXPECT_STREQ(buffer, full);
}

}  // namespace
