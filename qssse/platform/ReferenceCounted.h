#pragma once
#include "qssse/platform/Export.h"

#include <atomic>

// Intrusive reference count, safe to change from several threads. The count starts at 0; a copy of
// an object starts at 0 too, and assignment leaves both counts alone, since references belong to
// one object, not to its value.
class QSSSE_API CbReferenceCounted {
 public:
  CbReferenceCounted() noexcept;
  CbReferenceCounted(const CbReferenceCounted& other) noexcept;
  CbReferenceCounted& operator=(const CbReferenceCounted& other) noexcept;
  virtual ~CbReferenceCounted();

  // Adds one reference.
  void AddRef() const noexcept;
  // Drops one reference and deletes the object when none is left, so only objects made with new may
  // be released to zero. A Release with no reference outstanding is ignored.
  void Release() const noexcept;
  // The current count (a snapshot when other threads hold references).
  int GetRefCount() const noexcept;

 private:
  mutable std::atomic<int> m_refCount;
};
