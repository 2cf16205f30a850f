#include "qssse/platform/ArchiveException.h"

#include <string>

namespace {

std::string describe(int cause, const CString& fileName) {
  std::string text;
  switch (cause) {
    case CArchiveException::none:
      text = "archive: no error";
      break;
    case CArchiveException::generic:
      text = "archive: input/output error";
      break;
    case CArchiveException::readOnly:
      text = "archive: write to an archive that is loading";
      break;
    case CArchiveException::endOfFile:
      text = "archive: end of file reached while reading";
      break;
    case CArchiveException::writeOnly:
      text = "archive: read from an archive that is storing";
      break;
    case CArchiveException::badIndex:
      text = "archive: index out of range";
      break;
    case CArchiveException::badClass:
      text = "archive: unexpected object class";
      break;
    case CArchiveException::badSchema:
      text = "archive: unsupported object version";
      break;
    default:
      text = "archive: unknown error " + std::to_string(cause);
      break;
  }
  if (!fileName.IsEmpty()) text += " '" + fileName.str() + "'";
  return text;
}

}  // namespace

CArchiveException::CArchiveException(int cause, const CString& fileName)
    : CException(describe(cause, fileName)), m_cause(cause), m_strFileName(fileName) {}

CArchiveException::~CArchiveException() = default;

void AfxThrowArchiveException(int cause, const char* fileName) {
  throw CArchiveException(cause, CString(fileName));
}
