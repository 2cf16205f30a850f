#include "cli/Progress.h"

#include <unistd.h>

#include <cstdio>

namespace qssse::tool {

Progress::Progress(std::string label, bool force)
    : label_(std::move(label)), enabled_(force || StderrIsTerminal()) {}

Progress::~Progress() { Finish(); }

bool Progress::StderrIsTerminal() { return isatty(STDERR_FILENO) == 1; }

void Progress::Update(long long done, long long total) {
  if (!enabled_ || total <= 0) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawn_ && done < total && now - last_ < std::chrono::milliseconds(100)) return;
  last_ = now;
  const int percent = static_cast<int>(100 * done / total);
  std::fprintf(stderr, "\r%s: %3d%%", label_.c_str(), percent);
  std::fflush(stderr);
  drawn_ = true;
}

void Progress::Finish() {
  if (!drawn_) return;
  std::fprintf(stderr, "\r%*s\r", static_cast<int>(label_.size()) + 8, "");
  std::fflush(stderr);
  drawn_ = false;
}

}  // namespace qssse::tool
