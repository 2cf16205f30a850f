#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "platform/TempFile.h"
#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/Array2D.h"
#include "qssse/platform/Field2D.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/ReferenceCounted.h"

namespace {

bool isAligned(const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; }

TEST(AlignedMemory, EverySizeGivesADistinctAlignedWritableBlockAndZeroedArraysHoldZeros) {
  for (std::size_t bytes : {1u, 15u, 16u, 17u, 4096u, 100003u}) {
    auto* block = static_cast<unsigned char*>(qssse::alignedAlloc(bytes));
    ASSERT_TRUE(isAligned(block)) << bytes;
    std::memset(block, 0xA5, bytes);
    qssse::alignedFree(block);
  }
  void* a = qssse::alignedAlloc(0);
  void* b = qssse::alignedAlloc(0);
  EXPECT_NE(a, nullptr);
  EXPECT_NE(a, b);
  EXPECT_TRUE(isAligned(a) && isAligned(b));
  qssse::alignedFree(a);
  qssse::alignedFree(b);
  qssse::alignedFree(nullptr);
  float* values = qssse::alignedAllocArrayZeroed<float>(37);
  EXPECT_TRUE(isAligned(values));
  for (int i = 0; i < 37; ++i) EXPECT_EQ(values[i], 0.0f);
  qssse::alignedFree(values);
}

TEST(AlignedMemory, ImpossibleSizesThrowMemoryExceptionBeforeAllocating) {
  const std::size_t most = std::numeric_limits<std::size_t>::max();
  EXPECT_THROW(qssse::alignedAllocArray<double>(most / 4), CMemoryException);
  EXPECT_THROW(qssse::alignedAllocArrayZeroed<std::int32_t>(most / 2), CMemoryException);
  EXPECT_EQ(WhatThrown<CMemoryException>([&] { qssse::alignedAlloc(most); }).rfind("out of memory", 0), 0u);
}

// Records its own destruction so tests can see when Release deletes it.
class Counted : public CbReferenceCounted {
 public:
  explicit Counted(int* destroyed = nullptr) : m_destroyed(destroyed) {}
  ~Counted() override {
    if (m_destroyed) ++*m_destroyed;
  }

 private:
  int* m_destroyed;
};

TEST(ReferenceCounted, LastReleaseDeletesTheObjectAndCopiesKeepTheirOwnCounts) {
  int destroyed = 0;
  auto* object = new Counted(&destroyed);
  object->Release();  // unmatched: ignored
  EXPECT_EQ(object->GetRefCount(), 0);
  object->AddRef();
  object->AddRef();
  object->Release();
  EXPECT_EQ(object->GetRefCount(), 1);
  EXPECT_EQ(destroyed, 0);
  object->Release();
  EXPECT_EQ(destroyed, 1);
  // Copies start at zero and assignment keeps both counts.
  Counted a;
  a.AddRef();
  a.AddRef();
  Counted b(a);
  EXPECT_EQ(b.GetRefCount(), 0);
  b.AddRef();
  b = a;
  EXPECT_EQ(a.GetRefCount(), 2);
  EXPECT_EQ(b.GetRefCount(), 1);
}

TEST(ReferenceCounted, ConcurrentReferencesDeleteExactlyOnce) {
  int destroyed = 0;
  auto* object = new Counted(&destroyed);
  object->AddRef();
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t)
    threads.emplace_back([object] {
      for (int i = 0; i < 10000; ++i) {
        object->AddRef();
        object->Release();
      }
    });
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(object->GetRefCount(), 1);
  object->Release();
  EXPECT_EQ(destroyed, 1);
}

TEST(Field2D, CellsAreZeroedRowMajorWithXFastestAndChannelsAdjacentAndNegativeSizesAreRefused) {
  DmField2D<float, 1> field(3, 2);
  EXPECT_EQ(field.GetSizeX(), 3);
  EXPECT_EQ(field.GetSizeY(), 2);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(field.GetData()[i], 0.0f);
  field(1, 0) = 5.0f;
  field(0, 1) = 7.0f;
  EXPECT_EQ(field.GetData()[1], 5.0f);
  EXPECT_EQ(field.GetData()[3], 7.0f);
  DmField2D<int, 3> rgb(2, 2);
  rgb(1, 1, 2) = 9;
  rgb(1, 0) = 4;
  EXPECT_EQ(rgb.GetData()[(1 * 2 + 1) * 3 + 2], 9);
  EXPECT_EQ(rgb.GetData()[3], 4);
  DmField2D<float, 1> empty;
  EXPECT_EQ(empty.GetSizeX(), 0);
  EXPECT_EQ(empty.GetData(), nullptr);
  EXPECT_THROW((DmField2D<float, 1>(-1, 4)), CInvalidArgumentException);
  EXPECT_THROW(DmArray2D<float>(4, -1), CInvalidArgumentException);
}

TEST(Array2D, SharesTheFieldLayoutButIsADistinctType) {
  DmArray2D<float> array(2, 3);
  array(1, 2) = 6.0f;
  EXPECT_EQ(array.GetData()[2 * 2 + 1], 6.0f);
  static_assert(!std::is_convertible_v<DmArray2D<float>&, DmField2D<float, 1>&>);
}

}  // namespace
