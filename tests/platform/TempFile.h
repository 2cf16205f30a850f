#pragma once
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <utility>

#include "qssse/platform/String.h"

// A path in the temporary directory that no other test run uses, removed again at the end of scope.
class TempFile {
 public:
  TempFile() {
    std::random_device random;
    const std::string name = "qssse-platform-" + std::to_string(random()) + "-" + std::to_string(random());
    m_path = std::filesystem::temp_directory_path() / name;
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() {
    std::error_code ignored;
    std::filesystem::remove(m_path, ignored);
  }

  CString path() const { return CString(m_path.string()); }
  // Creates the file holding exactly these bytes.
  void Write(const std::string& bytes) const { std::ofstream(m_path, std::ios::binary) << bytes; }
  std::uintmax_t size() const { return std::filesystem::file_size(m_path); }

 private:
  std::filesystem::path m_path;
};

// The what() of the E that action throws, or "nothing thrown".
template <class E, class Action>
std::string WhatThrown(Action&& action) {
  try {
    std::forward<Action>(action)();
  } catch (const E& e) {
    return e.what();
  }
  return "nothing thrown";
}
