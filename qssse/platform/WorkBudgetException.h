#pragma once
#include <string>

#include "qssse/platform/Exception.h"
#include "qssse/platform/Export.h"

// Raised before a call starts when its planned work exceeds the library's work budget (WorkBudget.h);
// what() names the call, the planned steps and the budget.
class QSSSE_API CWorkBudgetException : public CException {
 public:
  explicit CWorkBudgetException(std::string message);
  ~CWorkBudgetException() override;
};
