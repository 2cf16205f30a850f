// WriteFileBytes replaces a file whole or not at all: the bytes go to a file beside the target that is
// renamed over it only when complete.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "qssse/io/FileBytes.h"
#include "qssse/io/IoException.h"

namespace fs = std::filesystem;

namespace {

struct Dir {
  Dir() : path(fs::path(::testing::TempDir()) / ("qssse-write-" + std::to_string(::getpid()))) {
    fs::remove_all(path);
    fs::create_directories(path);
  }
  ~Dir() { fs::remove_all(path); }
  fs::path path;
};

std::string Read(const fs::path& p) {
  const std::vector<unsigned char> b = qssse::io::ReadFileBytes(p.string());
  return std::string(b.begin(), b.end());
}

int Entries(const fs::path& dir) {
  int n = 0;
  for ([[maybe_unused]] const auto& e : fs::directory_iterator(dir)) ++n;
  return n;
}

TEST(WriteFile, ReplacesTheFileAndLeavesNothingElse) {
  Dir d;
  const fs::path target = d.path / "out.txt";
  qssse::io::WriteFileBytes(target.string(), std::string("first, longer content\n"));
  qssse::io::WriteFileBytes(target.string(), std::string("second\n"));
  EXPECT_EQ(Read(target), "second\n");
  EXPECT_EQ(Entries(d.path), 1);
  // The new file is made as a plain create would make it: 0666 less the umask.
  const mode_t mask = ::umask(022);
  ::umask(mask);
  struct stat st {};
  ASSERT_EQ(::stat(target.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0666u & ~mask);
}

// A full disk, simulated by the file-size limit (which holds for every user, root included).
TEST(WriteFile, WriteFailingPartWayLeavesTheOldFileAndNoPartialOne) {
  Dir d;
  const fs::path target = d.path / "out.bin";
  qssse::io::WriteFileBytes(target.string(), std::string("old"));
  const std::vector<unsigned char> big(64 * 1024, 7);
  rlimit saved{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
  const auto previous = ::signal(SIGXFSZ, SIG_IGN);
  rlimit small = saved;
  small.rlim_cur = 4096;
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
  bool threw = false;
  try {
    qssse::io::WriteFileBytes(target.string(), big.data(), big.size());
  } catch (const CIoException& e) {
    threw = true;
    EXPECT_NE(std::string(e.what()).find("cannot write"), std::string::npos) << e.what();
  }
  ::setrlimit(RLIMIT_FSIZE, &saved);
  ::signal(SIGXFSZ, previous);
  EXPECT_TRUE(threw);
  EXPECT_EQ(Read(target), "old");
  EXPECT_EQ(Entries(d.path), 1);
}

TEST(WriteFile, MissingDirectoryOrNoFileNameThrowsNamingThePath) {
  Dir d;
  EXPECT_THROW(qssse::io::WriteFileBytes((d.path / "no" / "such.txt").string(), std::string("x")), CIoException);
  EXPECT_THROW(qssse::io::WriteFileBytes((d.path.string() + "/"), std::string("x")), CIoException);
  EXPECT_EQ(Entries(d.path), 0);
}

}  // namespace
