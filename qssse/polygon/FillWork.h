#pragma once
#include <cstdint>

#include "qssse/platform/Export.h"

// The cost of the outline fills and height drawers, for hosts and tests that check it stays bounded by
// the matrix rather than by the outline's extent. All of it is per thread.
//
// Counted steps: one per edge evaluated in a sample column of the coarse fills (Coarse, the front fill;
// the Fine family's columns are the matrix's own and are not counted) and one per matrix cell that a
// height drawer's edge reaches (a run of samples folded onto one cell counts once).
namespace qssse::polygon {

// Steps counted on this thread since the last reset.
QSSSE_API std::uint64_t GetFillWorkSteps() noexcept;
QSSSE_API void ResetFillWorkSteps() noexcept;

// With false, the coarse fills decide every sample column beyond the matrix on its own instead of
// deciding whole ranges of them at once: the plain walk, slow for outlines far larger than the matrix,
// kept to check the shortcut against. true (the default) restores the shortcut. Same results either way.
QSSSE_API void SetFillShortcuts(bool on) noexcept;
QSSSE_API bool GetFillShortcuts() noexcept;

}  // namespace qssse::polygon
