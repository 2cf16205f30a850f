#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qssse/platform/String.h"

namespace {

TEST(String, NullTextIsEmptyLengthCountsUtf8BytesAndComparisonWorksInEitherOrder) {
  const CString null(static_cast<const char*>(nullptr));
  EXPECT_TRUE(null.IsEmpty());
  EXPECT_STREQ(null.GetString(), "");
  const CString s("d\xC3\xA9" "f");
  EXPECT_EQ(s.GetLength(), 4);
  EXPECT_EQ(std::strlen(s), 4u);
  CString path("dir");
  path += "/";
  const CString full = path + "file" + CString(std::string(".bin"));
  EXPECT_EQ(full, "dir/file.bin");
  EXPECT_EQ("dir/file.bin", full);
  EXPECT_NE(full, CString("dir/file"));
  EXPECT_TRUE("x" + CString("y") == "xy");
  EXPECT_EQ(full.str(), "dir/file.bin");
}

TEST(String, FormatIsNotLimitedToAFixedBuffer) {
  EXPECT_EQ(CString::Format("Time for 2D-Delaunay ms: %d\n Vertices: %d", 12, 345),
            "Time for 2D-Delaunay ms: 12\n Vertices: 345");
  const std::string longText(5000, 'q');
  const CString formatted = CString::Format("<%s|%05.1f>", longText.c_str(), 2.5);
  EXPECT_EQ(formatted.str(), "<" + longText + "|002.5>");
  EXPECT_TRUE(CString::Format("%s", "").IsEmpty());
}

}  // namespace
