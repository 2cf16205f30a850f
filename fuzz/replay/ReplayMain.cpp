// Replays inputs through one fuzz target's entry function:
//   qssse_fuzz_replay TARGET PATH...     every file under each PATH (a missing PATH is skipped)
//   qssse_fuzz_replay --write-seeds DIR  writes every target's seeds to DIR/<target>/
//   qssse_fuzz_replay --check-seeds DIR  fails when DIR differs from what --write-seeds would write
// A finding aborts inside the target, as under libFuzzer; sanitizer builds report faults where they
// happen. Prints the number of inputs and the slowest one.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Replay.h"

namespace fs = std::filesystem;

namespace {

std::vector<unsigned char> ReadAll(const fs::path& path) {
  std::ifstream f(path, std::ios::binary);
  return std::vector<unsigned char>(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

const replay::Target* Find(const std::string& name) {
  for (const replay::Target* t = replay::kTargets; t->name != nullptr; ++t) {
    if (name == t->name) return t;
  }
  return nullptr;
}

int WriteOrCheckSeeds(const fs::path& root, bool write) {
  int differences = 0;
  for (const replay::Target* t = replay::kTargets; t->name != nullptr; ++t) {
    const auto seeds = replay::SeedsFor(t->name);
    const fs::path dir = root / t->name;
    if (write && !seeds.empty()) fs::create_directories(dir);
    for (const auto& [file, bytes] : seeds) {
      if (write) {
        std::ofstream(dir / file, std::ios::binary).write(reinterpret_cast<const char*>(bytes.data()),
                                                          static_cast<std::streamsize>(bytes.size()));
      } else if (!fs::exists(dir / file) || ReadAll(dir / file) != bytes) {
        std::fprintf(stderr, "seed %s/%s is missing or differs: run qssse_fuzz_replay --write-seeds\n", t->name,
                     file.c_str());
        ++differences;
      }
    }
  }
  return differences == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 3 && (std::strcmp(argv[1], "--write-seeds") == 0 || std::strcmp(argv[1], "--check-seeds") == 0)) {
    return WriteOrCheckSeeds(argv[2], std::strcmp(argv[1], "--write-seeds") == 0);
  }
  const replay::Target* target = argc >= 2 ? Find(argv[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr, "usage: qssse_fuzz_replay TARGET PATH... | --write-seeds DIR | --check-seeds DIR\n");
    return 2;
  }
  std::vector<fs::path> files;
  for (int i = 2; i < argc; ++i) {
    const fs::path p(argv[i]);
    if (fs::is_regular_file(p)) files.push_back(p);
    if (!fs::is_directory(p)) continue;
    for (const auto& e : fs::recursive_directory_iterator(p))
      if (e.is_regular_file()) files.push_back(e.path());
  }
  std::sort(files.begin(), files.end());
  double slowest = 0.0;
  std::string slowestName;
  for (const fs::path& f : files) {
    const std::vector<unsigned char> bytes = ReadAll(f);
    const auto start = std::chrono::steady_clock::now();
    target->entry(bytes.data(), bytes.size());
    const double s = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (s > slowest) {
      slowest = s;
      slowestName = f.filename().string();
    }
  }
  // The empty input is every target's first case.
  target->entry(nullptr, 0);
  std::printf("%s: %zu inputs replayed, slowest %s (%.3f s)\n", target->name, files.size(), slowestName.c_str(), slowest);
  return files.empty() ? 1 : 0;
}
