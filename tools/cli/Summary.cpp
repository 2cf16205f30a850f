#include "cli/Summary.h"

#include <cmath>
#include <cstdio>

namespace qssse::tool {

std::string JsonString(const std::string& s) {
  std::string out = "\"";
  for (char c : s) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

void Summary::Step(const std::string& name, const std::string& detail, double ms) {
  progress_.Finish();
  std::printf("  %-22s %-62s %9.2f ms\n", name.c_str(), detail.c_str(), ms);
  std::fflush(stdout);
  steps_.push_back({name, detail, ms, true});
  progress_.Update(static_cast<long long>(steps_.size()), planned_);
}

void Summary::Missing(const std::string& name, const std::string& what) {
  progress_.Finish();
  std::printf("  %-22s %s is not available in this build\n", name.c_str(), what.c_str());
  std::fflush(stdout);
  steps_.push_back({name, what + " is not available in this build", 0.0, false});
  progress_.Update(static_cast<long long>(steps_.size()), planned_);
}

void Summary::Result(const std::string& key, double value) { results_.emplace_back(key, value); }

void Summary::File(const std::string& path) { files_.push_back(path); }

std::string Summary::Json(int size) const {
  char buf[64];
  std::string out = "{\n  \"size\": " + std::to_string(size) + ",\n  \"steps\": [\n";
  for (std::size_t i = 0; i < steps_.size(); ++i) {
    std::snprintf(buf, sizeof buf, "%.3f", steps_[i].ms);
    out += "    {\"name\": " + JsonString(steps_[i].name) + ", \"detail\": " + JsonString(steps_[i].detail) +
           ", \"ms\": " + buf + ", \"available\": " + (steps_[i].available ? "true" : "false") + "}" +
           (i + 1 < steps_.size() ? ",\n" : "\n");
  }
  out += "  ],\n  \"results\": {";
  for (std::size_t i = 0; i < results_.size(); ++i) {
    // JSON has no NaN or infinity: such a result is written as null.
    if (std::isfinite(results_[i].second))
      std::snprintf(buf, sizeof buf, "%.9g", results_[i].second);
    else
      std::snprintf(buf, sizeof buf, "null");
    out += (i ? ",\n    " : "\n    ") + JsonString(results_[i].first) + ": " + buf;
  }
  out += results_.empty() ? "},\n" : "\n  },\n";
  out += "  \"files\": [";
  for (std::size_t i = 0; i < files_.size(); ++i) out += (i ? ", " : "") + JsonString(files_[i]);
  return out + "]\n}\n";
}

std::string Summary::FileList() const {
  std::string out;
  for (const std::string& f : files_) out += (out.empty() ? "" : ", ") + f;
  return out;
}

}  // namespace qssse::tool
