#pragma once
#include <cstdint>

// The per-thread counters behind FillWork.h, for the fills' own sources (hosts use FillWork.h).
namespace qssse::polygon::detail {

extern thread_local std::uint64_t t_fillWorkSteps;
extern thread_local bool t_fillShortcuts;

inline void CountFillWork(std::uint64_t steps) { t_fillWorkSteps += steps; }

}  // namespace qssse::polygon::detail
