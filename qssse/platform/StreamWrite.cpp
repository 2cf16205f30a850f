#include "qssse/platform/StreamWrite.h"

#include "qssse/platform/CoreException.h"

#include <string>

CbStreamWrite::~CbStreamWrite() = default;

void CbStreamWrite::WriteVersion(int version) {
  if (version < 1) throw CbException("stream: version " + std::to_string(version) + " is below 1");
  WriteInt32(VersionTag);
  WriteInt32(version);
}
