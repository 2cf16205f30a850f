#pragma once
#include <cstdint>

#include "qssse/platform/Export.h"

// The library's one work budget: the most elementary steps (a sample taken, a pixel visited, an edge
// walked) that one call may plan when its work follows the input's geometry rather than its output,
// and no exact shortcut bounds it by the output. A call whose planned work exceeds the budget throws
// CWorkBudgetException before it starts, leaving its target as it was, so a tiny input with huge
// coordinates can neither hang a host nor be cut off half done.
//
// The default (2^34 steps, some minutes of work) passes every real mesh and outline; a host that wants
// answers within a second sets a lower one. Setting and reading are thread-safe and take effect for calls
// that start afterwards.
namespace qssse {

constexpr std::uint64_t kDefaultWorkBudget = std::uint64_t{1} << 34;

// Sets the budget in steps; 0 restores the default.
QSSSE_API void SetWorkBudget(std::uint64_t steps) noexcept;

// The budget in force, in steps.
QSSSE_API std::uint64_t GetWorkBudget() noexcept;

// Throws CWorkBudgetException ("too much work: <what> needs <n> steps, more than the budget of <m>")
// when `steps` exceeds the budget. Callers pass their planned count in double so that counts beyond
// 64 bits (or NaN, from non-finite geometry) are over any budget instead of wrapping.
QSSSE_API void CheckWorkRequest(double steps, const char* what);

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
