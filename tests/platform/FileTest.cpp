#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/TempFile.h"
#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/File.h"
#include "qssse/platform/MemFile.h"

namespace {

std::string readText(CFile& file, unsigned count) {
  std::string text(count, '\0');
  text.resize(file.Read(text.data(), count));
  return text;
}

TEST(File, OpeningAMissingFileForReadingReturnsFalseAndCreateTruncatesUnlessNoTruncateIsGiven) {
  TempFile missing;
  CFile file;
  EXPECT_FALSE(file.Open(missing.path(), CFile::modeRead));
  EXPECT_FALSE(file.IsOpen());
  EXPECT_TRUE(file.GetFilePath().IsEmpty());
  EXPECT_FALSE(file.Open(missing.path(), CFile::modeReadWrite));
  EXPECT_FALSE(file.Open(missing.path(), CFile::modeCreate | CFile::modeWrite | CFile::modeReadWrite));
  const TempFile& temp = missing;
  ASSERT_TRUE(file.Open(temp.path(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite));
  file.Write("hello", 5);
  ASSERT_TRUE(file.Open(temp.path(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite));
  EXPECT_EQ(file.GetLength(), 5u);
  EXPECT_EQ(readText(file, 10), "hello");
  ASSERT_TRUE(file.Open(temp.path(), CFile::modeCreate | CFile::modeWrite));
  EXPECT_EQ(file.GetLength(), 0u);
  EXPECT_EQ(file.GetFilePath(), temp.path());
}

TEST(File, WrongDirectionThrowsGenericNamingThePath) {
  TempFile temp;
  temp.Write("abc");
  CFile reader;
  ASSERT_TRUE(reader.Open(temp.path(), CFile::modeRead));
  EXPECT_EQ(WhatThrown<CArchiveException>([&] { reader.Write("x", 1); }),
            "archive: input/output error '" + temp.path().str() + "'");
  CFile writer;
  ASSERT_TRUE(writer.Open(temp.path(), CFile::modeWrite));
  char byte = 0;
  EXPECT_THROW(writer.Read(&byte, 1), CArchiveException);
  CFile closed;
  EXPECT_THROW(closed.Write("x", 1), CArchiveException);
}

TEST(File, SeekMovesWithinAndBeyondTheFileAndReadsAndWritesOnOneHandleSeeEachOther) {
  TempFile temp;
  temp.Write("0123456789");
  CFile file;
  ASSERT_TRUE(file.Open(temp.path(), CFile::modeReadWrite));
  EXPECT_EQ(file.Seek(-3, CFile::end), 7u);
  EXPECT_EQ(readText(file, 1), "7");
  EXPECT_EQ(file.Seek(-2, CFile::current), 6u);
  EXPECT_THROW(file.Seek(-7, CFile::current), CArchiveException);
  EXPECT_EQ(file.GetPosition(), 6u);
  // A write past the end extends the file with zeros.
  EXPECT_EQ(file.Seek(12, CFile::begin), 12u);
  file.Write("z", 1);
  EXPECT_EQ(file.GetLength(), 13u);
  file.SeekToBegin();
  EXPECT_EQ(readText(file, 20), std::string("0123456789\0\0z", 13));
  // Reads after writes on one handle see the new bytes, and writes after reads land where the read ended.
  file.Seek(2, CFile::begin);
  file.Write("XY", 2);
  EXPECT_EQ(readText(file, 1), "4");
  file.Write("Z", 1);
  file.SeekToBegin();
  EXPECT_EQ(readText(file, 20), std::string("01XY4Z6789\0\0z", 13));
}

TEST(MemFile, WritingAtThePositionOverwritesAndGrowsFillingAGapWithZeros) {
  CMemFile file({1, 2, 3, 4});
  EXPECT_EQ(file.GetPosition(), 0u);
  file.Seek(2, CFile::begin);
  const unsigned char nines[] = {9, 9, 9};
  file.Write(nines, 3);
  EXPECT_EQ(file.GetBytes(), (std::vector<unsigned char>{1, 2, 9, 9, 9}));
  EXPECT_EQ(file.GetPosition(), 5u);
  EXPECT_EQ(file.GetLength(), 5u);
  EXPECT_EQ(file.Seek(3, CFile::end), 8u);
  unsigned char byte = 0;
  EXPECT_EQ(file.Read(&byte, 1), 0u);
  file.Write("\x07", 1);
  EXPECT_EQ(file.GetBytes(), (std::vector<unsigned char>{1, 2, 9, 9, 9, 0, 0, 0, 7}));
  EXPECT_THROW(file.Seek(-10, CFile::end), CArchiveException);
  EXPECT_THROW(file.Seek(0, 7), CArchiveException);
}

TEST(MemFile, DetachAndCloseLeaveAnEmptyOpenFile) {
  CMemFile file({5, 6});
  file.Seek(1, CFile::begin);
  EXPECT_EQ(file.Detach(), (std::vector<unsigned char>{5, 6}));
  EXPECT_EQ(file.GetLength(), 0u);
  EXPECT_EQ(file.GetPosition(), 0u);
  file.Write("ab", 2);
  file.Close();
  EXPECT_TRUE(file.IsOpen());
  EXPECT_EQ(file.GetLength(), 0u);
  EXPECT_FALSE(file.Open("anything", CFile::modeRead));
}

}  // namespace
