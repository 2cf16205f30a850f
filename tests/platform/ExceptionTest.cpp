#include <gtest/gtest.h>

#include <string>

#include "platform/TempFile.h"

#include "qssse/platform/ArchiveException.h"
#include "qssse/platform/CoreException.h"
#include "qssse/platform/InvalidArgumentException.h"
#include "qssse/platform/MemoryException.h"

namespace {

std::string messageOf(int cause, const char* fileName) {
  try {
    AfxThrowArchiveException(cause, fileName);
  } catch (const CArchiveException& e) {
    EXPECT_EQ(e.m_cause, cause);
    return e.what();
  }
  return "nothing thrown";
}

TEST(ArchiveException, MessageNamesTheCauseAndTheFile) {
  EXPECT_EQ(messageOf(CArchiveException::endOfFile, "x.bin"),
            "archive: end of file reached while reading 'x.bin'");
  EXPECT_EQ(messageOf(CArchiveException::readOnly, nullptr), "archive: write to an archive that is loading");
  EXPECT_EQ(messageOf(CArchiveException::writeOnly, ""), "archive: read from an archive that is storing");
  EXPECT_EQ(messageOf(CArchiveException::generic, "a/b"), "archive: input/output error 'a/b'");
  EXPECT_EQ(messageOf(CArchiveException::none, nullptr), "archive: no error");
  EXPECT_EQ(messageOf(CArchiveException::badIndex, nullptr), "archive: index out of range");
  EXPECT_EQ(messageOf(CArchiveException::badClass, nullptr), "archive: unexpected object class");
  EXPECT_EQ(messageOf(CArchiveException::badSchema, nullptr), "archive: unsupported object version");
  EXPECT_EQ(messageOf(42, nullptr), "archive: unknown error 42");
}

TEST(Exceptions, OutOfMemoryMessagesAndCommonBase) {
  EXPECT_EQ(WhatThrown<CException>([] { AfxThrowMemoryException(); }), "out of memory");
  EXPECT_THROW(throw CbExceptionOutOfMemory(), CbException);
  EXPECT_STREQ(CbExceptionOutOfMemory().what(), "out of memory");
  EXPECT_STREQ(CbException("stream: read past the end").what(), "stream: read past the end");
  EXPECT_EQ(WhatThrown<CException>([] { AfxThrowInvalidArgumentException("CSSEMatrix: size -1 x 4"); }),
            "CSSEMatrix: size -1 x 4");
}

}  // namespace
