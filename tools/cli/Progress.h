#pragma once
#include <chrono>
#include <string>

// Progress of long work on stderr, shown only when stderr is a terminal (pipes and logs stay clean).
namespace qssse::tool {

class Progress {
 public:
  // `label` names the work ("scan conversion"); nothing is printed unless stderr is a terminal or
  // `force` is set.
  explicit Progress(std::string label, bool force = false);
  ~Progress();
  // Reports done of total; redraws at most ten times a second.
  void Update(long long done, long long total);
  // Clears the line.
  void Finish();
  static bool StderrIsTerminal();

 private:
  std::string label_;
  bool enabled_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace qssse::tool
