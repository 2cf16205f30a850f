#include "qssse/platform/ReferenceCounted.h"

CbReferenceCounted::CbReferenceCounted() noexcept : m_refCount(0) {}

CbReferenceCounted::CbReferenceCounted(const CbReferenceCounted&) noexcept : m_refCount(0) {}

CbReferenceCounted& CbReferenceCounted::operator=(const CbReferenceCounted&) noexcept { return *this; }

CbReferenceCounted::~CbReferenceCounted() = default;

void CbReferenceCounted::AddRef() const noexcept { m_refCount.fetch_add(1, std::memory_order_relaxed); }

void CbReferenceCounted::Release() const noexcept {
  // A loop rather than fetch_sub, so an unmatched Release cannot drive the count below zero.
  int count = m_refCount.load(std::memory_order_relaxed);
  do {
    if (count <= 0) return;
  } while (!m_refCount.compare_exchange_weak(count, count - 1, std::memory_order_acq_rel,
                                             std::memory_order_relaxed));
  if (count == 1) delete this;
}

int CbReferenceCounted::GetRefCount() const noexcept { return m_refCount.load(std::memory_order_relaxed); }
