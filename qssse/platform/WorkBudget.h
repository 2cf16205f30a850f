#pragma once
#include <cstdint>

#include "qssse/platform/Export.h"

// The library's one work budget: the most elementary steps (a sample taken, a pixel visited, an edge
// walked) that one call may plan when its work follows the input's geometry rather than its output,
// and no exact shortcut bounds it by the output. A call whose planned work exceeds the budget throws
// CWorkBudgetException before it starts, leaving its target as it was, so a tiny input with huge
// coordinates can neither hang a host nor be cut off half done.
//
// Work proportional to a call's own input and output (its allowance: for a scan conversion 32 steps per
// triangle and per pixel of the raster) is never counted, so meshes and rasters of any size the memory
// ceiling admits pass; the budget bounds only the work beyond that. The default (2^27 steps, about a
// second of work) passes real meshes and outlines; a host that wants more for odd geometry sets a higher
// one. Setting and reading are thread-safe and take effect for calls that start afterwards.
namespace qssse {

constexpr std::uint64_t kDefaultWorkBudget = std::uint64_t{1} << 27;

// Sets the budget in steps; 0 restores the default.
QSSSE_API void SetWorkBudget(std::uint64_t steps) noexcept;

// The budget in force, in steps.
QSSSE_API std::uint64_t GetWorkBudget() noexcept;

// Throws CWorkBudgetException ("too much work: <what> needs <n> steps, more than the budget of <m>")
// when `steps` less `allowance` exceeds the budget (n is that excess). Callers pass their planned count
// in double so that counts beyond 64 bits (or NaN, from non-finite geometry) are over any budget
// instead of wrapping.
QSSSE_API void CheckWorkRequest(double steps, const char* what, double allowance = 0.0);

// Restores the previous budget when it goes out of scope (tests and hosts that lower it for one call).
class QSSSE_API CWorkBudgetScope {
 public:
  explicit CWorkBudgetScope(std::uint64_t steps) noexcept : m_previous(GetWorkBudget()) { SetWorkBudget(steps); }
  ~CWorkBudgetScope() { SetWorkBudget(m_previous); }
  CWorkBudgetScope(const CWorkBudgetScope&) = delete;
  CWorkBudgetScope& operator=(const CWorkBudgetScope&) = delete;

 private:
  std::uint64_t m_previous;
};

}  // namespace qssse
