#include "qssse/platform/MemoryException.h"

// The message fits the short-string buffer, so building it needs no allocation of its own.
CMemoryException::CMemoryException() : CException("out of memory") {}

CMemoryException::~CMemoryException() = default;

void AfxThrowMemoryException() { throw CMemoryException(); }
