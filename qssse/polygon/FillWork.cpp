#include "qssse/polygon/FillWork.h"

#include "qssse/polygon/FillWorkCount.h"

namespace qssse::polygon {

namespace detail {
thread_local std::uint64_t t_fillWorkSteps = 0;
thread_local bool t_fillShortcuts = true;
}  // namespace detail

std::uint64_t GetFillWorkSteps() noexcept { return detail::t_fillWorkSteps; }
void ResetFillWorkSteps() noexcept { detail::t_fillWorkSteps = 0; }
void SetFillShortcuts(bool on) noexcept { detail::t_fillShortcuts = on; }
bool GetFillShortcuts() noexcept { return detail::t_fillShortcuts; }

}  // namespace qssse::polygon
