#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/TempFile.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/StreamReadBinaryFile.h"
#include "qssse/platform/StreamReadBinaryMemory.h"
#include "qssse/platform/StreamWriteBinaryFile.h"
#include "qssse/platform/StreamWriteBinaryMemory.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A version-1 record of every kind of value, as the loaders write them.
void writeSample(CbStreamWrite& out) {
  out.WriteVersion(1);
  out.WriteInt32(-2);
  out.WriteFloat(1.0f);
  out.WriteBool(true);
  out.WriteBool(false);
  out.WriteBuffer("ab", 2);
}

void readSample(CbStreamRead& in) {
  EXPECT_EQ(in.ReadAndCompareVersion(1), 1);
  EXPECT_EQ(in.ReadInt32(), -2);
  EXPECT_EQ(in.ReadFloat(), 1.0f);
  EXPECT_TRUE(in.ReadBool());
  EXPECT_FALSE(in.ReadBool());
  char buffer[2] = {};
  in.ReadBuffer(buffer, 2);
  EXPECT_EQ(std::string(buffer, 2), "ab");
}

Bytes versionRecord(std::int32_t tag, std::int32_t version) {
  CbStreamWriteBinaryMemory out;
  out.WriteInt32(tag);
  out.WriteInt32(version);
  return out.GetData();
}

TEST(BinaryStream, EncodingIsLittleEndianWithOneByteBoolsAndReadsBackCountingTheRest) {
  CbStreamWriteBinaryMemory out;
  writeSample(out);
  const Bytes expected = {'Q',  'S',  'V',  'R',  1,    0,    0, 0, 0xFE, 0xFF,
                          0xFF, 0xFF, 0x00, 0x00, 0x80, 0x3F, 1, 0, 'a',  'b'};
  EXPECT_EQ(out.GetData(), expected);
  EXPECT_EQ(out.GetSize(), expected.size());
  EXPECT_THROW(out.WriteVersion(0), CbException);  // could never be read back
  EXPECT_EQ(out.GetSize(), expected.size());
  CbStreamReadBinaryMemory in(out.GetData());
  EXPECT_EQ(in.BytesRemaining(), 20u);
  readSample(in);
  EXPECT_EQ(in.BytesRemaining(), 0u);
  EXPECT_EQ(in.GetPosition(), 20u);
}

TEST(BinaryStream, AnyNonZeroBoolByteReadsTrueAndReadingPastTheEndThrowsAndConsumesTheRest) {
  CbStreamReadBinaryMemory in(Bytes{0x02, 0x80, 3});
  EXPECT_TRUE(in.ReadBool());
  EXPECT_TRUE(in.ReadBool());
  EXPECT_THROW(in.ReadInt32(), CbException);
  EXPECT_EQ(in.BytesRemaining(), 0u);
  EXPECT_THROW(CbStreamReadBinaryMemory(nullptr, 4), CInvalidArgumentException);
}

TEST(VersionRecord, AcceptsOneToTheHighestAndRejectsWrongOrCutRecordsWithoutThrowing) {
  CbStreamReadBinaryMemory one(versionRecord(CbStreamWrite::VersionTag, 1));
  EXPECT_EQ(one.ReadAndCompareVersion(2), 1);
  for (std::int32_t stored : {0, -1, 3, std::numeric_limits<std::int32_t>::max()}) {
    CbStreamReadBinaryMemory in(versionRecord(CbStreamWrite::VersionTag, stored));
    EXPECT_EQ(in.ReadAndCompareVersion(2), 0) << stored;
    EXPECT_EQ(in.GetPosition(), 8u);
  }
  CbStreamReadBinaryMemory wrongTag(versionRecord(1, 1));
  EXPECT_EQ(wrongTag.ReadAndCompareVersion(5), 0);
  EXPECT_EQ(wrongTag.GetPosition(), 4u);
  // A cut record is rejected without throwing.
  const Bytes record = versionRecord(CbStreamWrite::VersionTag, 1);
  for (std::size_t length = 0; length < record.size(); ++length) {
    CbStreamReadBinaryMemory in(record.data(), length);
    EXPECT_EQ(in.ReadAndCompareVersion(1), 0) << length;
    EXPECT_EQ(in.BytesRemaining(), 0u);
  }
}

TEST(BinaryStream, EveryTruncationOfARecordEndsInACleanException) {
  CbStreamWriteBinaryMemory out;
  writeSample(out);
  const Bytes& full = out.GetData();
  for (std::size_t length = 8; length < full.size(); ++length) {
    CbStreamReadBinaryMemory in(full.data(), length);
    EXPECT_THROW(
        {
          in.ReadAndCompareVersion(1);
          in.ReadInt32();
          in.ReadFloat();
          in.ReadBool();
          in.ReadBool();
          char buffer[2];
          in.ReadBuffer(buffer, 2);
        },
        CbException)
        << length;
  }
}

TEST(BinaryFileStream, RoundTripsThroughADiskFileAndNamesThePathInErrors) {
  TempFile temp;
  CbStreamWriteBinaryFile out(temp.path());
  writeSample(out);
  out.Close();
  EXPECT_FALSE(out.IsOpen());
  EXPECT_THROW(out.WriteInt32(1), CbException);
  EXPECT_EQ(temp.size(), 20u);

  CbStreamReadBinaryFile in(temp.path());
  EXPECT_EQ(in.BytesRemaining(), 20u);
  readSample(in);
  EXPECT_EQ(in.BytesRemaining(), 0u);
  EXPECT_NE(WhatThrown<CbException>([&] { in.ReadBool(); }).find(temp.path().str()), std::string::npos);
  // Paths that cannot be opened are named.
  const CString inMissingDirectory = temp.path() + "/x.bin";
  EXPECT_EQ(WhatThrown<CbException>([&] { CbStreamWriteBinaryFile bad(inMissingDirectory); }),
            "stream: cannot open '" + inMissingDirectory.str() + "' for writing");
  EXPECT_THROW(CbStreamReadBinaryFile bad(inMissingDirectory), CbException);
}

}  // namespace
