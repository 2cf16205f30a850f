#include "qssse/platform/WorkBudget.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <string>
#include <utility>

#include "qssse/platform/WorkBudgetException.h"

namespace {

std::atomic<std::uint64_t> g_budget{qssse::kDefaultWorkBudget};

}  // namespace

CWorkBudgetException::CWorkBudgetException(std::string message) : CException(std::move(message)) {}

CWorkBudgetException::~CWorkBudgetException() = default;

namespace qssse {

void SetWorkBudget(std::uint64_t steps) noexcept {
  g_budget.store(steps == 0 ? kDefaultWorkBudget : steps, std::memory_order_relaxed);
}

std::uint64_t GetWorkBudget() noexcept { return g_budget.load(std::memory_order_relaxed); }

void CheckWorkRequest(double steps, const char* what, double allowance) {
  const std::uint64_t budget = GetWorkBudget();
  if (!(allowance >= 0.0)) allowance = 0.0;
  steps -= allowance;
  // Written as "within" so that NaN counts as over the budget.
  if (steps <= static_cast<double>(budget)) return;
  char planned[32];
  if (std::isfinite(steps)) {
    std::snprintf(planned, sizeof planned, "%.0f", steps);
  } else {
    std::snprintf(planned, sizeof planned, "an unbounded number of");
  }
  throw CWorkBudgetException(std::string("too much work: ") + (what ? what : "the call") + " needs " + planned +
                             (allowance > 0.0 ? " steps beyond those its size accounts for" : " steps") +
                             ", more than the budget of " + std::to_string(budget));
}

}  // namespace qssse
