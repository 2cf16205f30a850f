#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "platform/TempFile.h"
#include "qssse/platform/Archive.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/File.h"
#include "qssse/platform/MemFile.h"

namespace {

using Bytes = std::vector<unsigned char>;

template <class Action>
int causeOf(Action action, CArchive& ar) {
  try {
    action(ar);
  } catch (const CArchiveException& e) {
    return e.m_cause;
  }
  return -1;
}

TEST(Archive, StoresEveryTypeLittleEndian) {
  CMemFile file;
  CArchive ar(&file, CArchive::store);
  ar << std::int32_t(-2) << std::uint32_t(0xDEADBEEF) << std::int16_t(-3) << std::uint16_t(0x1234);
  ar << std::int64_t(0x0102030405060708) << 1.0f << 0.5 << 'A' << static_cast<unsigned char>(0xAB) << true
     << false;
  ar.Close();
  const Bytes expected = {0xFE, 0xFF, 0xFF, 0xFF, 0xEF, 0xBE, 0xAD, 0xDE, 0xFD, 0xFF, 0x34, 0x12,
                          0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x01, 0x00, 0x00, 0x80, 0x3F,
                          0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xE0, 0x3F, 0x41, 0xAB, 0x01, 0x00};
  EXPECT_EQ(file.GetBytes(), expected);
}

TEST(Archive, RoundTripsThroughARealFileAcrossManyBufferRefills) {
  TempFile temp;
  Bytes block(1000);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<unsigned char>(i * 7);
  {
    CFile file;
    ASSERT_TRUE(file.Open(temp.path(), CFile::modeCreate | CFile::modeWrite));
    CArchive ar(&file, CArchive::store, 1);  // raised to the minimum buffer
    for (int i = 0; i < 500; ++i)
      ar << std::int32_t(i * 1001) << static_cast<float>(i) * 0.25f << (i % 3 == 0);
    ar.Write(block.data(), static_cast<unsigned>(block.size()));  // larger than the buffer
    ar << -1.5;
    ar.Close();
  }
  EXPECT_EQ(temp.size(), 500u * 9 + 1000 + 8);

  CFile file;
  ASSERT_TRUE(file.Open(temp.path(), CFile::modeRead));
  CArchive ar(&file, CArchive::load, 200);
  for (int i = 0; i < 500; ++i) {
    std::int32_t n = 0;
    float f = 0;
    bool b = false;
    ar >> n >> f >> b;
    ASSERT_EQ(n, i * 1001);
    ASSERT_EQ(f, static_cast<float>(i) * 0.25f);
    ASSERT_EQ(b, i % 3 == 0);
  }
  Bytes back(block.size());
  EXPECT_EQ(ar.Read(back.data(), static_cast<unsigned>(back.size())), block.size());
  EXPECT_EQ(back, block);
  double d = 0;
  ar >> d;
  EXPECT_EQ(d, -1.5);
}

TEST(Archive, TypedReadOfAnIncompleteValueThrowsEndOfFileNamingTheFile) {
  TempFile temp;
  temp.Write("\x01\x02\x03");
  CFile file;
  ASSERT_TRUE(file.Open(temp.path(), CFile::modeRead));
  CArchive ar(&file, CArchive::load);
  std::int32_t value = 0;
  EXPECT_EQ(causeOf([&value](CArchive& a) { a >> value; }, ar), CArchiveException::endOfFile);
  EXPECT_EQ(WhatThrown<CArchiveException>([&] { ar >> value; }),
            "archive: end of file reached while reading '" + temp.path().str() + "'");
}

TEST(Archive, RawReadReturnsFewerBytesAtTheEndWithoutThrowing) {
  CMemFile file({0, 2, 0xFF, 4, 5});
  CArchive ar(&file, CArchive::load);
  bool zero = true, two = false;
  ar >> zero >> two;  // any non-zero byte loads as true
  EXPECT_FALSE(zero);
  EXPECT_TRUE(two);
  unsigned char out[8] = {};
  EXPECT_EQ(ar.Read(out, 8), 3u);
  EXPECT_EQ(out[2], 5);
  EXPECT_EQ(ar.Read(out, 8), 0u);
  unsigned char byte = 0;
  EXPECT_THROW(ar >> byte, CArchiveException);
}

TEST(Archive, ReadingAStoringOrWritingALoadingArchiveThrows) {
  CMemFile file({0, 0, 0, 0});
  CArchive loading(&file, CArchive::load);
  EXPECT_EQ(causeOf([](CArchive& ar) { ar << std::int32_t(1); }, loading), CArchiveException::readOnly);
  EXPECT_EQ(causeOf([](CArchive& ar) { ar.Write("x", 1); }, loading), CArchiveException::readOnly);
  CMemFile target;
  CArchive storing(&target, CArchive::store);
  float f = 0;
  char c = 0;
  EXPECT_EQ(causeOf([&f](CArchive& ar) { ar >> f; }, storing), CArchiveException::writeOnly);
  EXPECT_EQ(causeOf([&c](CArchive& ar) { ar.Read(&c, 1); }, storing), CArchiveException::writeOnly);
  EXPECT_THROW(CArchive(nullptr, CArchive::load), CArchiveException);
}

TEST(Archive, CloseTwiceIsHarmlessAClosedArchiveRefusesUseAndTheDestructorFlushesUnlessToldNotTo) {
  CMemFile file;
  CArchive ar(&file, CArchive::store);
  ar << std::int16_t(1);
  ar.Close();
  ar.Close();
  EXPECT_EQ(file.GetLength(), 2u);
  EXPECT_EQ(causeOf([](CArchive& a) { a << std::int16_t(2); }, ar), CArchiveException::generic);
  { CArchive(&file, CArchive::store) << std::int32_t(7); }
  EXPECT_EQ(file.GetBytes(), (Bytes{1, 0, 7, 0, 0, 0}));
  CMemFile untouched;
  { CArchive(&untouched, CArchive::store | CArchive::bNoFlushOnDelete) << std::int32_t(7); }
  EXPECT_EQ(untouched.GetLength(), 0u);
}

TEST(Archive, FailedWriteThrowsFromCloseButNotFromTheDestructor) {
  TempFile temp;
  temp.Write("");
  CFile readOnly;
  ASSERT_TRUE(readOnly.Open(temp.path(), CFile::modeRead));
  {
    CArchive ar(&readOnly, CArchive::store);
    ar << 1.0f;
    EXPECT_THROW(ar.Close(), CArchiveException);
  }
  EXPECT_NO_THROW({
    CArchive ar(&readOnly, CArchive::store);
    ar << 1.0f;
  });
}

TEST(Archive, BytesRemainingCountsTheReadAheadWhichALoadingCloseGivesBack) {
  std::vector<unsigned char> bytes(300, 7);
  bytes[4] = 2;
  CMemFile file(bytes);
  {
    CArchive ar(&file, CArchive::load, 128);
    EXPECT_EQ(ar.GetBytesRemaining(), 300u);
    std::int32_t first = 0;
    ar >> first;  // reads a whole buffer ahead
    EXPECT_EQ(first, 0x07070707);
    EXPECT_EQ(ar.GetBytesRemaining(), 296u);
    ar.Close();
  }
  EXPECT_EQ(file.GetPosition(), 4u);
  CArchive next(&file, CArchive::load);
  std::int32_t second = 0;
  next >> second;
  EXPECT_EQ(second, 0x07070702);
  CMemFile out;
  EXPECT_EQ(CArchive(&out, CArchive::store).GetBytesRemaining(), 0u);
}

}  // namespace
