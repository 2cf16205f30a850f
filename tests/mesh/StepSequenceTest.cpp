#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "qssse/mesh/StepSequence.h"

using qssse::scan::StepSequence;

namespace {

// The loop itself, as the scan conversions run it.
std::vector<float> Loop(float step) {
  std::vector<float> v;
  for (float x = 0.0f; x < 1.0f; x += step) v.push_back(x);
  return v;
}

void ExpectSameAsTheLoop(float step, std::mt19937& rng) {
  const std::vector<float> loop = Loop(step);
  const StepSequence seq(step);
  ASSERT_EQ(seq.Count(), static_cast<std::int64_t>(loop.size())) << step;
  const std::size_t stride = loop.size() > 65536 ? loop.size() / 4096 : 1;
  for (std::size_t k = 0; k < loop.size(); k += stride) {
    ASSERT_EQ(seq.At(static_cast<std::int64_t>(k)), loop[k]) << step << " at " << k;
    // Counts just at, above and below a value.
    const float x = loop[k];
    EXPECT_EQ(seq.CountBelow(x), static_cast<std::int64_t>(k)) << step;
    EXPECT_EQ(seq.CountBelow(std::nextafter(x, 2.0f)), static_cast<std::int64_t>(k + 1)) << step;
  }
  for (int r = 0; r < 64; ++r) {
    const float x = std::uniform_real_distribution<float>(0.0f, 1.0f)(rng);
    const auto below = static_cast<std::int64_t>(std::lower_bound(loop.begin(), loop.end(), x) - loop.begin());
    ASSERT_EQ(seq.CountBelow(x), below) << step << " below " << x;
  }
  EXPECT_EQ(seq.CountBelow(1.0f), seq.Count());
  EXPECT_EQ(seq.CountBelow(0.0f), 0);
  EXPECT_EQ(seq.CountBelow(NAN), 0);
}

}  // namespace

TEST(StepSequence, EqualsTheFloatLoopForRandomAndTieProneSteps) {
  std::mt19937 rng(42);
  // Steps spread over every binade from 2^-24 up, and steps of few bits whose halves land on ties.
  for (int i = 0; i < 25; ++i) {
    const float e = std::uniform_real_distribution<float>(-24.0f, 0.0f)(rng);
    const float step = std::max(std::exp2(e), 1.0f / 16777216.0f);
    ExpectSameAsTheLoop(step, rng);
  }
  for (int i = 0; i < 100; ++i) {
    const int bits = 1 + static_cast<int>(rng() % 6), shift = 2 + static_cast<int>(rng() % 20);
    const float step = std::ldexp(static_cast<float>((rng() % (1u << bits)) | 1u), -shift - bits);
    if (step < 1.0f / 16777216.0f || step >= 1.0f) continue;
    ExpectSameAsTheLoop(step, rng);
  }
  for (float step : {1.0f / 16777216.0f, 3.0f / 33554432.0f, 0.1f, 0.5f, 0.75f, std::nextafter(1.0f, 0.0f)}) {
    ExpectSameAsTheLoop(step, rng);
  }
}

TEST(StepSequence, StepsOfOneOrMoreAndBadStepsGiveTheFirstValueOnly) {
  for (float step : {1.0f, 7.0f, INFINITY, NAN, 0.0f, -0.5f}) {
    const StepSequence seq(step);
    EXPECT_EQ(seq.Count(), 1) << step;
    EXPECT_EQ(seq.At(0), 0.0f);
    EXPECT_EQ(seq.CountBelow(0.5f), 1);
  }
}
