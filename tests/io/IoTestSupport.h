#pragma once
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <random>
#include <string>
#include <vector>

#include "qssse/io/IoException.h"
#include "qssse/io/MeshFile.h"

// Shared helpers of the I/O and program tests: a private temporary directory, whole-file access and
// running a shell command with its output captured.
namespace iotest {

class TempDir {
 public:
  TempDir() {
    std::mt19937_64 rng(std::random_device{}());
    path_ = std::filesystem::temp_directory_path() /
            ("qssse-tests-" + std::to_string(::getpid()) + "-" + std::to_string(rng() % 1000000000));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline std::vector<unsigned char> ReadAll(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>()};
}

inline std::string ReadText(const std::string& path) {
  const auto b = ReadAll(path);
  return {b.begin(), b.end()};
}

inline void WriteAll(const std::string& path, const std::vector<unsigned char>& bytes, std::size_t n) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(n));
}

inline void WriteText(const std::string& path, const std::string& text) {
  std::ofstream f(path, std::ios::binary | std::ios::trunc);
  f << text;
}

inline std::vector<unsigned char> Bytes(const std::string& s) { return {s.begin(), s.end()}; }

// A mesh of these vertices and triangles.
inline qssse::io::MeshData MeshOf(std::vector<qssse::io::Vertex> vertices,
                                  std::vector<std::array<std::uint32_t, 3>> triangles) {
  qssse::io::MeshData m;
  m.vertices = std::move(vertices);
  m.triangles = std::move(triangles);
  return m;
}

// Two triangles sharing an edge.
inline qssse::io::MeshData TwoTriangles() {
  return MeshOf({{0, 0, 0}, {1, 0, 0.5f}, {0, 1, 0.25f}, {1, 1, -2.0f}}, {{0, 1, 2}, {1, 3, 2}});
}

// Whether text holds part; either way the message shows the whole text.
inline ::testing::AssertionResult Contains(const std::string& text, const std::string& part) {
  auto r = text.find(part) != std::string::npos ? ::testing::AssertionSuccess() : ::testing::AssertionFailure();
  return r << "'" << part << "' in: " << text;
}

// Whether text holds every one of parts; the message names the missing ones and shows the text.
inline ::testing::AssertionResult ContainsAll(const std::string& text, std::initializer_list<std::string> parts) {
  std::string missing;
  for (const std::string& part : parts) {
    if (text.find(part) == std::string::npos) missing += " '" + part + "'";
  }
  if (missing.empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "missing" << missing << " in: " << text;
}

// The message (or with problemOnly, the problem without the file) of the CIoException that action
// throws, or "accepted".
template <class Action>
inline std::string WhatThrown(Action action, bool problemOnly = false) {
  try {
    action();
  } catch (const CIoException& e) {
    return problemOnly ? e.GetProblem() : std::string(e.what());
  }
  return "accepted";
}

// The message of the CIoException that parse(bytes, "f.m") throws on text, or "accepted".
template <class Parse>
inline std::string Message(Parse parse, const std::string& text) {
  return WhatThrown([&] { parse(Bytes(text), std::string("f.m")); });
}

// Cuts the file at every length from 0 to size-1 and expects each prefix to fail with a CIoException
// whose message is one line naming the file.
template <class Parse>
inline void ExpectEveryPrefixFails(const std::vector<unsigned char>& bytes, Parse parse) {
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    const std::vector<unsigned char> prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n));
    try {
      parse(prefix);
      ADD_FAILURE() << "a prefix of " << n << " of " << bytes.size() << " bytes was accepted";
      return;
    } catch (const CIoException& e) {
      const std::string what = e.what();
      ASSERT_EQ(what.find('\n'), std::string::npos) << what;
      ASSERT_EQ(what.rfind("f.bin: ", 0), 0u) << what;
    }
  }
}

struct RunResult {
  int status = -1;
  std::string out;
  std::string err;
};

// Runs a shell command line with stdout and stderr captured in files of `dir`.
inline RunResult RunShell(const TempDir& dir, const std::string& command) {
  const std::string out = dir / "run.stdout", err = dir / "run.stderr";
  const int rc = std::system((command + " >'" + out + "' 2>'" + err + "' </dev/null").c_str());
  RunResult r;
  r.status = WIFEXITED(rc) ? WEXITSTATUS(rc) : 128 + (WIFSIGNALED(rc) ? WTERMSIG(rc) : 0);
  r.out = ReadText(out);
  r.err = ReadText(err);
  return r;
}

}  // namespace iotest
