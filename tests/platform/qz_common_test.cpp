// qz_common: the directory of the running executable.
#include "qz_common.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

namespace {

TEST(QzCommon, ReturnsTheTestBinaryDirectoryOnlyWhenItFits) {
  char full[4096];
  uint32_t full_size = sizeof(full);
  ASSERT_EQ(qz_get_exe_path(full, &full_size), 0);
  EXPECT_EQ(full_size, std::strlen(full));
  EXPECT_EQ(std::filesystem::canonical(full), std::filesystem::canonical(QZ_PLATFORM_TESTS_DIR));
  EXPECT_NE(qz_get_exe_path(nullptr, &full_size), 0);
  EXPECT_NE(qz_get_exe_path(full, nullptr), 0);

  char buffer[4096];
  std::memset(buffer, 'x', sizeof(buffer));
  uint32_t size = full_size;  // no room for the NUL: refused, nothing written
  EXPECT_NE(qz_get_exe_path(buffer, &size), 0);
  EXPECT_EQ(size, full_size);
  for (char c : buffer) ASSERT_EQ(c, 'x');
  size = full_size + 1;  // exactly enough
  EXPECT_EQ(qz_get_exe_path(buffer, &size), 0);
  EXPECT_EQ(size, full_size);
  EXPECT_STREQ(buffer, full);
}

}  // namespace
