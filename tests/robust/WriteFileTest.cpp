// WriteFileBytes replaces a file whole or not at all: the bytes go to a file beside the target that is
// renamed over it only when complete.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "io/IoTestSupport.h"
#include "qssse/io/FileBytes.h"
#include "qssse/io/IoException.h"

namespace {

using iotest::ReadText;

int Entries(const iotest::TempDir& dir) {
  int n = 0;
  for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(dir / "")) ++n;
  return n;
}

TEST(WriteFile, ReplacesTheFileAndLeavesNothingElseOrThrowsWithoutADirectoryOrName) {
  iotest::TempDir d;
  const std::string target = d / "out.txt";
  qssse::io::WriteFileBytes(target, std::string("first, longer content\n"));
  qssse::io::WriteFileBytes(target, std::string("second\n"));
  EXPECT_EQ(ReadText(target), "second\n");
  EXPECT_EQ(Entries(d), 1);
  // The new file is made as a plain create would make it: 0666 less the umask.
  const mode_t mask = ::umask(022);
  ::umask(mask);
  struct stat st {};
  ASSERT_EQ(::stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0666u & ~mask);
  // A missing directory or no file name throws and leaves nothing.
  EXPECT_THROW(qssse::io::WriteFileBytes(d / "no/such.txt", std::string("x")), CIoException);
  EXPECT_THROW(qssse::io::WriteFileBytes(d / "", std::string("x")), CIoException);
  EXPECT_EQ(Entries(d), 1);
}

// A full disk, simulated by the file-size limit (which holds for every user, root included).
TEST(WriteFile, WriteFailingPartWayLeavesTheOldFileAndNoPartialOne) {
  iotest::TempDir d;
  const std::string target = d / "out.bin";
  qssse::io::WriteFileBytes(target, std::string("old"));
  const std::vector<unsigned char> big(64 * 1024, 7);
  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  const auto previous = ::signal(SIGXFSZ, SIG_IGN);
  rlimit small = saved;
  small.rlim_cur = 4096;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  bool threw = false;
  try {
    qssse::io::WriteFileBytes(target, big.data(), big.size());
  } catch (const CIoException& e) {
    threw = true;
    EXPECT_NE(std::string(e.what()).find("cannot write"), std::string::npos) << e.what();
  }
  ::setrlimit(RLIMIT_FSIZE, &saved);
  ::signal(SIGXFSZ, previous);
  EXPECT_TRUE(threw);
  EXPECT_EQ(ReadText(target), "old");
  EXPECT_EQ(Entries(d), 1);
}

}  // namespace
