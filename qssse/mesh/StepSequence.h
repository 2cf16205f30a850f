#pragma once
#include <cmath>
#include <cstdint>
#include <vector>

// The parameters of the sampled scan conversions' loops, `for (float v = 0; v < 1; v += step)`, without
// running the loop: random access to the k-th value and counts below a bound in time logarithmic in the
// number of binades. An internal of the mesh sources, public only because every header is.
namespace qssse::scan {

// Within one binade [2^e, 2^(e+1)) every float is a multiple m of u = 2^(e-23), and v + step rounds on
// that grid while the exact sum stays below 2^(e+1): to v + round(step / u) u, or at a tie to the even
// neighbour of m. After one such step m is even whenever a tie can occur, so from then on every
// increment is the same until the sum leaves the binade. A binade is thus one arithmetic run after at
// most two single values, and the loop is at most a few dozen runs however small the step.
class StepSequence {
 public:
  // The values of the loop with this step. A step that is not positive (or NaN, or 1 and more) gives the
  // single value 0; steps below 2^-24 are the callers' to refuse (they would stall below 1).
  explicit StepSequence(float step) {
    float v = 0.0f;
    std::int64_t k = 0;
    if (!(step > 0.0f) || !(step < 1.0f)) {
      runs_.push_back({0, 0.0, 0.0, 1});
      count_ = 1;
      return;
    }
    while (v < 1.0f) {
      runs_.push_back({k, v, 0.0, 1});
      ++k;
      const float next = v + step;
      if (!(next < 1.0f)) break;
      int e = 0;
      std::frexp(v, &e);
      const double top = std::ldexp(1.0, e);  // the binade's end, 2^(e+1) in the terms above
      if (v == 0.0f || !(next < top)) {
        v = next;
        continue;
      }
      // v -> next stayed in the binade: from next on, every step adds the same increment d while the
      // exact sum stays below top. Values next + j d for j = 0 .. n - 1 follow; next + n d is the first
      // one reached by a step that may round otherwise.
      const double d = static_cast<double>(next + step) - next;
      const double from = next;
      // Steps from next + j d with next + j d + step < top, j = 0 .. n - 1.
      std::int64_t n = static_cast<std::int64_t>(std::floor((top - step - from) / d));
      while (n > 0 && !(from + static_cast<double>(n - 1) * d + step < top)) --n;
      while (from + static_cast<double>(n) * d + step < top) ++n;
      if (n > 0) runs_.push_back({k, from, d, n});
      k += n;
      v = static_cast<float>(from + static_cast<double>(n) * d);
    }
    count_ = k;
  }

  // The number of values (all below 1).
  std::int64_t Count() const { return count_; }

  // Value k, 0 <= k < Count().
  float At(std::int64_t k) const {
    const Run& r = runs_[RunOf(k)];
    return static_cast<float>(r.first + static_cast<double>(k - r.k) * r.d);
  }

  // The number of values below x (all of them for x above the last; NaN: none).
  std::int64_t CountBelow(float x) const {
    // The last run whose first value is below x.
    std::size_t lo = 0, hi = runs_.size();
    while (lo < hi) {
      const std::size_t mid = (lo + hi) / 2;
      if (runs_[mid].first < x) {
        lo = mid + 1;
      } else {
        hi = mid;
      }
    }
    if (lo == 0) return 0;
    const Run& r = runs_[lo - 1];
    if (r.n == 1) return r.k + 1;
    // Values first + j d below x: j < (x - first) / d, settled exactly (the products are exact doubles).
    std::int64_t j = static_cast<std::int64_t>(std::ceil((x - r.first) / r.d));
    if (j > r.n) j = r.n;
    if (j < 1) j = 1;
    while (j < r.n && r.first + static_cast<double>(j) * r.d < x) ++j;
    while (j > 1 && !(r.first + static_cast<double>(j - 1) * r.d < x)) --j;
    return r.k + j;
  }

 private:
  struct Run {
    std::int64_t k;  // index of the first value
    double first;    // its value
    double d;        // the increment (0 for a single value)
    std::int64_t n;  // values in the run
  };
  std::size_t RunOf(std::int64_t k) const {
    std::size_t lo = 0, hi = runs_.size();
    while (hi - lo > 1) {
      const std::size_t mid = (lo + hi) / 2;
      if (runs_[mid].k <= k) {
        lo = mid;
      } else {
        hi = mid;
      }
    }
    return lo;
  }

  std::vector<Run> runs_;
  std::int64_t count_ = 0;
};

}  // namespace qssse::scan
