#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "platform/TempFile.h"

#include "qssse/platform/WorkBudget.h"
#include "qssse/platform/WorkBudgetException.h"

TEST(WorkBudget, PlannedWorkAboveTheBudgetIsRefusedWithTheFigures) {
  qssse::CWorkBudgetScope scope(1000);
  EXPECT_NO_THROW(qssse::CheckWorkRequest(1000.0, "scan"));
  EXPECT_EQ(WhatThrown<CWorkBudgetException>([] { qssse::CheckWorkRequest(1001.0, "scan conversion"); }),
            "too much work: scan conversion needs 1001 steps, more than the budget of 1000");
  // Only the steps beyond the allowance (work that follows the call's input and output) count.
  EXPECT_NO_THROW(qssse::CheckWorkRequest(1500.0, "scan", 500.0));
  EXPECT_EQ(WhatThrown<CException>([] { qssse::CheckWorkRequest(1501.0, "scan", 500.0); }),
            "too much work: scan needs 1001 steps beyond those its size accounts for, more than the budget of 1000");
  // Counts that no longer fit 64 bits, and NaN from non-finite geometry, are over any budget.
  EXPECT_THROW(qssse::CheckWorkRequest(std::ldexp(1.0, 80), "fill"), CWorkBudgetException);
  EXPECT_THROW(qssse::CheckWorkRequest(std::numeric_limits<double>::quiet_NaN(), "fill"), CWorkBudgetException);
  EXPECT_THROW(qssse::CheckWorkRequest(std::numeric_limits<double>::infinity(), "fill"), CWorkBudgetException);
}

TEST(WorkBudget, ScopeRestoresAndZeroMeansTheDefault) {
  {
    qssse::CWorkBudgetScope scope(5);
    EXPECT_EQ(qssse::GetWorkBudget(), 5u);
  }
  EXPECT_EQ(qssse::GetWorkBudget(), qssse::kDefaultWorkBudget);
  qssse::SetWorkBudget(0);
  EXPECT_EQ(qssse::GetWorkBudget(), qssse::kDefaultWorkBudget);
}
